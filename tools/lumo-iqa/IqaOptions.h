#ifndef LUMO_IQA_IQAOPTIONS_H
#define LUMO_IQA_IQAOPTIONS_H

#include "lumo/ColorSpace.h"
#include "lumo/YUVType.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumo_iqa {

enum class OutputFormat { Text, Csv, Json };

// What the command line asked for.
struct IqaOptions {
    int width = 0;  // 0: no --size given
    int height = 0;
    lumo::YUVType layout; // unknown: no --layout given
    lumo::COLOR_SPACE range = lumo::COLOR_SPACE_FULL_RANGE;
    int64_t maxFrames = -1; // -1: every frame both files have
    OutputFormat format = OutputFormat::Text;
    bool perPlaneSsim = false;
    bool summaryOnly = false;
    std::string pathA;
    std::string pathB;
    bool help = false;
};

// Fills out from argv[1..]; false with a one-line reason in error. Size and
// layout may be left out here: the inputs may supply them (Y4M headers,
// file names).
bool ParseIqaOptions(const std::vector<std::string>& args, IqaOptions& out, std::string& error);

std::string IqaUsage();

} // namespace lumo_iqa

#endif
