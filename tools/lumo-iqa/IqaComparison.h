#ifndef LUMO_IQA_IQACOMPARISON_H
#define LUMO_IQA_IQACOMPARISON_H

#include "IqaOptions.h"

#include "lumo/YUVReader.h"

#include <string>
#include <vector>

namespace lumo_iqa {

// Scores of one frame pair: planes Y, U, V of the 4:2:0 form, SSIM of luma.
struct FrameScore {
    double mse[3] = {0, 0, 0};
    double psnr[3] = {0, 0, 0};
    double ssim = 0;
};

// Process exit codes.
constexpr int kExitOk = 0;
constexpr int kExitOutput = 1;
constexpr int kExitUsage = 2;
constexpr int kExitInput = 3;

// Compares the frames two files have in common, spread over all cores.
class IqaComparison {
public:
    explicit IqaComparison(const IqaOptions& options);

    // Checks size, layout and both files. kExitOk, or an exit code with a
    // one-line reason in error. note gets a remark worth showing, if any.
    int Prepare(std::string& error, std::string& note);

    // Scores frames 0 .. FrameCount()-1 into scores.
    int Run(std::vector<FrameScore>& scores, std::string& error) const;

    int FrameCount() const;

private:
    int CheckFile(const lumo::YUVReader& reader, int& count, std::string& error) const;
    bool ScoreFrame(int frame, FrameScore& score, std::string& error) const;

    IqaOptions options;
    lumo::YUVReader readerA;
    lumo::YUVReader readerB;
    int frames = 0;
};

} // namespace lumo_iqa

#endif
