#ifndef LUMO_IQA_IQACOMPARISON_H
#define LUMO_IQA_IQACOMPARISON_H

#include "IqaOptions.h"

#include "lumo/YUVFrameFile.h"
#include "lumo/YUVType.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumo_iqa {

// Scores of one frame pair: planes Y, U, V of the 4:2:0 form, SSIM of luma
// (and of U and V when asked for; NaN otherwise).
struct FrameScore {
    double mse[3] = {0, 0, 0};
    double psnr[3] = {0, 0, 0};
    double ssim = 0;
    double ssimChroma[2] = {0, 0};
};

// Process exit codes.
constexpr int kExitOk = 0;
constexpr int kExitOutput = 1;
constexpr int kExitUsage = 2;
constexpr int kExitInput = 3;
constexpr int kExitMemory = 4;

// One input as it will be read.
struct IqaInput {
    std::string path;
    int width = 0;
    int height = 0;
    lumo::YUVType layout;
    bool y4m = false;
    int64_t frames = 0;
};

// Takes the scored frames in order, one at a time, while the comparison
// runs.
class IqaSink {
public:
    virtual ~IqaSink() = default;
    // False when the frame could not be taken (its output failed): the
    // comparison then stops.
    virtual bool Frame(int64_t index, const FrameScore& score) = 0;
};

// Compares the frames two files have in common. Frames are read and scored
// in batches by all cores, each thread with the files open for the whole
// run and its buffers reused, and handed to the sink in order as they
// complete, so memory does not depend on the files' length.
class IqaComparison {
public:
    explicit IqaComparison(const IqaOptions& options);
    ~IqaComparison();

    // Works out each input's size and layout (Y4M header, options, file
    // name, the other input), opens both and counts the frames. kExitOk, or
    // an exit code with a one-line reason in error. notes get remarks worth
    // showing (what was guessed, unequal lengths), one line each.
    int Prepare(std::string& error, std::vector<std::string>& notes);

    // Scores frames 0 .. FrameCount()-1 into sink, in order. kExitOk, or an
    // exit code with a reason; frames before a failure have reached the sink.
    int Run(IqaSink& sink, std::string& error);

    int64_t FrameCount() const;
    const IqaInput& InputA() const;
    const IqaInput& InputB() const;

private:
    struct Shared;
    class Worker;

    int Describe(IqaInput& input, const IqaInput* other, std::vector<std::string>& notes,
                 std::string& error) const;
    int Open(const IqaInput& input, lumo::YUVFrameFile& file, std::string& error) const;

    IqaOptions options;
    IqaInput a;
    IqaInput b;
    int64_t frames = 0;
};

} // namespace lumo_iqa

#endif
