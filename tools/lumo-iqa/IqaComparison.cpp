#include "IqaComparison.h"

#include "lumo/Threads.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace lumo_iqa {

namespace {

struct FreeDeleter {
    void operator()(unsigned char* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<unsigned char, FreeDeleter>;

std::string SizeText(const IqaOptions& o)
{
    return std::to_string(o.width) + "x" + std::to_string(o.height);
}

} // namespace

IqaComparison::IqaComparison(const IqaOptions& options)
    : options(options), readerA(options.pathA, options.width, options.height, options.layout),
      readerB(options.pathB, options.width, options.height, options.layout)
{
}

int IqaComparison::FrameCount() const
{
    return frames;
}

int IqaComparison::CheckFile(const lumo::YUVReader& reader, int& count, std::string& error) const
{
    count = reader.GetFrameCount();
    if (count > 0) {
        return kExitOk;
    }
    // No whole frame: tell a missing file from a short one.
    int status = 0;
    unsigned char* frame = reader.ReadFrameYUV444(nullptr, &status, 0);
    std::free(frame);
    if (status == lumo::YUVReader::READ_ERROR_FILE) {
        error = "cannot read '" + reader.path + "'";
    } else {
        error = "'" + reader.path + "' holds no whole " + SizeText(options) + " " +
                options.layout.idName + " frame (" + std::to_string(reader.GetFrameLen()) +
                " bytes each)";
    }
    return kExitInput;
}

int IqaComparison::Prepare(std::string& error, std::string& note)
{
    if (readerA.GetFrameLen() == 0) {
        error = "size " + SizeText(options) + " is not valid for layout " + options.layout.idName;
        if (options.width % 2 != 0) {
            error += " (packed 4:2:2 layouts need an even width)";
        }
        return kExitUsage;
    }
    int countA = 0;
    int countB = 0;
    int code = CheckFile(readerA, countA, error);
    if (code == kExitOk) {
        code = CheckFile(readerB, countB, error);
    }
    if (code != kExitOk) {
        return code;
    }
    frames = std::min(countA, countB);
    if (countA != countB) {
        note = "'" + options.pathA + "' has " + std::to_string(countA) + " frames, '" +
               options.pathB + "' " + std::to_string(countB) + "; comparing the first " +
               std::to_string(frames);
    }
    if (options.maxFrames > 0) {
        frames = std::min(frames, options.maxFrames);
    }
    return kExitOk;
}

bool IqaComparison::ScoreFrame(int frame, FrameScore& score, std::string& error) const
{
    const long offset = static_cast<long>(frame * readerA.GetFrameLen());
    const int w = options.width;
    const int h = options.height;
    const lumo::YUVReader* readers[2] = {&readerA, &readerB};
    Buffer planar[2];
    for (int i = 0; i < 2; ++i) {
        int status = 0;
        Buffer full(readers[i]->ReadFrameYUV444(nullptr, &status, offset));
        if (!full || status < 1) {
            error = "reading frame " + std::to_string(frame) + " of '" + readers[i]->path +
                    "' failed (status " + std::to_string(status) + ")";
            return false;
        }
        planar[i].reset(readers[i]->Frame444To420(full.get(), nullptr, w, h));
        if (!planar[i]) {
            error = "out of memory converting frame " + std::to_string(frame);
            return false;
        }
    }
    readerA.CallPSNR(score.psnr, planar[0].get(), planar[1].get(), w, h, score.mse);
    score.ssim = readerA.CallSsimIqa(planar[0].get(), planar[1].get(), w, h, options.range);
    return true;
}

int IqaComparison::Run(std::vector<FrameScore>& scores, std::string& error) const
{
    scores.assign(static_cast<size_t>(frames), FrameScore());
    const int workers =
        std::max(1, std::min(frames, static_cast<int>(std::thread::hardware_concurrency())));
    if (workers > 1) {
        // Frames already keep every core busy; SSIM need not split them too.
        lumo::SetMaxThreads(1);
    }
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    std::mutex errorLock;
    auto work = [&]() {
        for (int f = next++; f < frames && !failed; f = next++) {
            std::string why;
            if (!ScoreFrame(f, scores[static_cast<size_t>(f)], why)) {
                std::lock_guard<std::mutex> lock(errorLock);
                if (!failed.exchange(true)) {
                    error = why;
                }
            }
        }
    };
    std::vector<std::thread> helpers;
    for (int i = 1; i < workers; ++i) {
        try {
            helpers.emplace_back(work);
        } catch (const std::system_error&) {
            break; // fewer helpers: the frames still all get done
        }
    }
    work();
    for (std::thread& t : helpers) {
        t.join();
    }
    return failed ? kExitInput : kExitOk;
}

} // namespace lumo_iqa
