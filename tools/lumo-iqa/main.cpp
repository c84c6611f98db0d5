// lumo-iqa: frame-by-frame PSNR, MSE and SSIM of two YUV files, computed
// with LumoYuv. See IqaUsage() for the command line.

#include "IqaComparison.h"
#include "IqaOptions.h"
#include "IqaReport.h"

#include <csignal>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

using namespace lumo_iqa;

namespace {

int Fail(int code, const std::string& message)
{
    std::fprintf(stderr, "lumo-iqa: %s\n", message.c_str());
    return code;
}

// Whatever was written must have reached standard output.
int Flushed()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return Fail(kExitOutput, "writing the report failed");
    }
    return kExitOk;
}

int Run(int argc, char** argv)
{
    IqaOptions options;
    std::string error;
    if (!ParseIqaOptions(std::vector<std::string>(argv + 1, argv + argc), options, error)) {
        return Fail(kExitUsage, error + " (--help shows usage)");
    }
    if (options.help) {
        std::fputs(IqaUsage().c_str(), stdout);
        return Flushed();
    }
    IqaComparison comparison(options);
    std::vector<std::string> notes;
    const int prepared = comparison.Prepare(error, notes);
    for (const std::string& note : notes) {
        std::fprintf(stderr, "lumo-iqa: note: %s\n", note.c_str());
    }
    if (prepared != kExitOk) {
        return Fail(prepared, error);
    }
    IqaReportWriter report(stdout, options, comparison.InputA(), comparison.InputB(),
                           comparison.FrameCount());
    report.Begin();
    const int ran = comparison.Run(report, error);
    if (ran != kExitOk) {
        std::fflush(stdout);
        return Fail(ran, error);
    }
    report.End();
    return Flushed();
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that goes away (| head) makes writes fail, which is exit 1
    // with its message, rather than ending the program on SIGPIPE.
    std::signal(SIGPIPE, SIG_IGN);
    // Out of memory anywhere ends here, with a message that needs none.
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fflush(stdout);
        std::fputs("lumo-iqa: out of memory\n", stderr);
        return kExitMemory;
    }
}
