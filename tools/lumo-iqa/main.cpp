// lumo-iqa: frame-by-frame PSNR, MSE and SSIM of two raw YUV files, computed
// with LumoYuv. See IqaUsage() for the command line.

#include "IqaComparison.h"
#include "IqaOptions.h"
#include "IqaReport.h"

#include <cstdio>
#include <string>
#include <vector>

using namespace lumo_iqa;

namespace {

int Fail(int code, const std::string& message)
{
    std::fprintf(stderr, "lumo-iqa: %s\n", message.c_str());
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    IqaOptions options;
    std::string error;
    if (!ParseIqaOptions(std::vector<std::string>(argv + 1, argv + argc), options, error)) {
        return Fail(kExitUsage, error + " (--help shows usage)");
    }
    if (options.help) {
        std::fputs(IqaUsage().c_str(), stdout);
        return kExitOk;
    }
    IqaComparison comparison(options);
    std::string note;
    const int prepared = comparison.Prepare(error, note);
    if (prepared != kExitOk) {
        return Fail(prepared, error);
    }
    if (!note.empty()) {
        std::fprintf(stderr, "lumo-iqa: note: %s\n", note.c_str());
    }
    std::vector<FrameScore> scores;
    const int ran = comparison.Run(scores, error);
    if (ran != kExitOk) {
        return Fail(ran, error);
    }
    WriteIqaReport(stdout, options, scores);
    return std::fflush(stdout) == 0 ? kExitOk : Fail(kExitOutput, "writing the report failed");
}
