#ifndef LUMO_IQA_IQAOPTIONS_H
#define LUMO_IQA_IQAOPTIONS_H

#include "lumo/ColorSpace.h"
#include "lumo/YUVType.h"

#include <string>
#include <vector>

namespace lumo_iqa {

enum class OutputFormat { Text, Csv, Json };

// What the command line asked for.
struct IqaOptions {
    int width = 0;
    int height = 0;
    lumo::YUVType layout;
    lumo::COLOR_SPACE range = lumo::COLOR_SPACE_FULL_RANGE;
    int maxFrames = -1; // -1: every frame both files have
    OutputFormat format = OutputFormat::Text;
    std::string pathA;
    std::string pathB;
    bool help = false;
};

// Fills out from argv[1..]; false with a one-line reason in error.
bool ParseIqaOptions(const std::vector<std::string>& args, IqaOptions& out, std::string& error);

std::string IqaUsage();

} // namespace lumo_iqa

#endif
