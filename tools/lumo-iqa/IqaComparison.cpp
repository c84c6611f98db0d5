#include "IqaComparison.h"

#include "IqaText.h"

#include "lumo/RawFormatGuess.h"
#include "lumo/Threads.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumo_iqa {

namespace {

// I420 bytes a batch of frames aims at: large enough that tiny frames do
// not cost a lock and two reads each, small enough to stay in cache.
constexpr int64_t kBatchBytes = 1 << 20;
constexpr int64_t kMostBatchFrames = 4096;

std::string SizeText(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

// The system's words for an error number; unlike strerror, safe on the
// worker threads.
std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

// Why the library could not open path: it is missing, not a regular file
// or not readable. A FIFO is named but never opened, which could block.
std::string WhyUnreadable(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        return ErrorText(errno);
    }
    if (S_ISDIR(info.st_mode)) {
        return ErrorText(EISDIR);
    }
    if (S_ISFIFO(info.st_mode)) {
        return "a FIFO (named pipe), not a regular file";
    }
    if (!S_ISREG(info.st_mode)) {
        return "not a regular file";
    }
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return ErrorText(errno);
    }
    close(fd);
    return "it changed while it was being opened";
}

// Why frames that were counted when the comparison began could not be read:
// the file is looked at again, as it is now.
std::string WhyReadFailed(const IqaInput& input, int64_t first, int count, const std::string& frames)
{
    lumo::YUVFrameFile now;
    std::string why;
    const int status = input.y4m ? now.OpenY4M(input.path, why)
                                 : now.OpenRaw(input.path, input.width, input.height, input.layout);
    if (status == lumo::YUVReader::READ_ERROR_HEADER) {
        return Quoted(input.path) + " changed while it was compared: " + why;
    }
    if (status != lumo::YUVReader::READ_OK) {
        return "cannot read " + Quoted(input.path) + " any more, at frame " + std::to_string(first) +
               ": " + WhyUnreadable(input.path);
    }
    if (now.FrameCount() < first + count) {
        return Quoted(input.path) + " ended before frame " +
               std::to_string(std::max(first, now.FrameCount())) +
               ": it was cut short while it was compared";
    }
    return "reading " + frames + " of " + Quoted(input.path) +
           " failed although the file holds them (an input/output error)";
}

} // namespace

// What the threads of one run share, under one lock. Batch b is scored into
// slot b % slots.size(); it may be claimed once the writer has taken batch
// b - slots.size() out of that slot.
struct IqaComparison::Shared {
    struct Slot {
        int64_t batch = -1;
        bool done = false;
        std::vector<FrameScore> scores;
    };

    std::mutex lock;
    std::condition_variable changed;
    int64_t batches = 0;
    int64_t batchFrames = 1;
    int64_t frames = 0;
    int64_t nextClaim = 0;
    int64_t nextWrite = 0;
    std::vector<Slot> slots;
    // The earliest batch that failed, its exit code and reason.
    int64_t failedBatch = INT64_MAX;
    int failCode = kExitOk;
    std::string failReason;

    bool Claimable() const
    {
        return failedBatch == INT64_MAX && nextClaim < batches &&
               nextClaim < nextWrite + static_cast<int64_t>(slots.size());
    }

    // Under the lock. The reason may not fit in memory: the code then says
    // so on its own.
    void Fail(int64_t batch, int code, const char* reason)
    {
        if (batch >= failedBatch) {
            return;
        }
        failedBatch = batch;
        failCode = code;
        try {
            failReason = reason;
        } catch (const std::bad_alloc&) {
            failCode = kExitMemory;
            failReason.clear();
        }
    }
};

// Reads and scores batches; one per thread, each with its own open files
// and buffers.
class IqaComparison::Worker {
public:
    Worker(const IqaComparison& owner, Shared& shared) : owner(owner), shared(shared) {}

    // Claims and scores batches until none is left or one failed.
    void Loop()
    {
        for (;;) {
            int64_t batch = 0;
            {
                std::unique_lock<std::mutex> hold(shared.lock);
                shared.changed.wait(hold, [this] {
                    return shared.Claimable() || shared.failedBatch != INT64_MAX ||
                           shared.nextClaim >= shared.batches;
                });
                if (!shared.Claimable()) {
                    return;
                }
                batch = shared.nextClaim++;
                Claim(batch);
            }
            Score(batch);
        }
    }

    // Under the lock: batch takes its slot.
    void Claim(int64_t batch)
    {
        Shared::Slot& slot = shared.slots[static_cast<size_t>(batch) % shared.slots.size()];
        slot.batch = batch;
        slot.done = false;
    }

    // Outside the lock: reads and scores batch, then marks it done or
    // failed. No exception leaves.
    void Score(int64_t batch)
    {
        int code = kExitOk;
        std::string reason;
        try {
            code = Compute(batch, reason);
        } catch (const std::bad_alloc&) {
            code = kExitMemory;
        }
        std::lock_guard<std::mutex> hold(shared.lock);
        if (code == kExitOk) {
            shared.slots[static_cast<size_t>(batch) % shared.slots.size()].done = true;
        } else {
            shared.Fail(batch, code, code == kExitMemory && reason.empty() ? "out of memory" : reason.c_str());
        }
        shared.changed.notify_all();
    }

private:
    int Compute(int64_t batch, std::string& reason)
    {
        if (!opened) {
            const int code = OpenBoth(reason);
            if (code != kExitOk) {
                return code;
            }
            opened = true;
        }
        const int64_t first = batch * shared.batchFrames;
        const int count = static_cast<int>(std::min(shared.batchFrames, shared.frames - first));
        Shared::Slot& slot = shared.slots[static_cast<size_t>(batch) % shared.slots.size()];
        slot.scores.resize(static_cast<size_t>(count));
        framesA.resize(static_cast<size_t>(count));
        framesB.resize(static_cast<size_t>(count));
        const IqaInput* inputs[2] = {&owner.a, &owner.b};
        lumo::YUVFrameFile* files[2] = {&fileA, &fileB};
        const unsigned char** pointers[2] = {framesA.data(), framesB.data()};
        for (int i = 0; i < 2; ++i) {
            const int status = files[i]->ReadI420(first, count, pointers[i]);
            if (status != lumo::YUVReader::READ_OK) {
                return ReadFailure(status, *inputs[i], first, count, reason);
            }
        }
        const int w = owner.a.width;
        const int h = owner.a.height;
        const lumo::YUVReader receiver;
        for (int f = 0; f < count; ++f) {
            FrameScore& score = slot.scores[static_cast<size_t>(f)];
            auto* pa = const_cast<unsigned char*>(framesA[static_cast<size_t>(f)]);
            auto* pb = const_cast<unsigned char*>(framesB[static_cast<size_t>(f)]);
            receiver.CallPSNR(score.psnr, pa, pb, w, h, score.mse);
            if (owner.options.perPlaneSsim) {
                double planes[3];
                receiver.CallSsimPlanes(planes, pa, pb, w, h, owner.options.range);
                score.ssim = planes[0];
                score.ssimChroma[0] = planes[1];
                score.ssimChroma[1] = planes[2];
            } else {
                score.ssim = receiver.CallSsimIqa(pa, pb, w, h, owner.options.range);
                score.ssimChroma[0] = score.ssimChroma[1] = std::nan("");
            }
            // SSIM of frames this size is a number unless its working memory
            // could not be had.
            const bool chroma = owner.options.perPlaneSsim && w > 1 && h > 1;
            if (std::isnan(score.ssim) ||
                (chroma && (std::isnan(score.ssimChroma[0]) || std::isnan(score.ssimChroma[1])))) {
                reason = "out of memory computing the SSIM of frame " + std::to_string(first + f);
                return kExitMemory;
            }
        }
        return kExitOk;
    }

    int OpenBoth(std::string& reason)
    {
        int code = owner.Open(owner.a, fileA, reason);
        if (code == kExitOk) {
            code = owner.Open(owner.b, fileB, reason);
        }
        return code;
    }

    static int ReadFailure(int status, const IqaInput& input, int64_t first, int count,
                           std::string& reason)
    {
        const std::string frames = count == 1 ? "frame " + std::to_string(first)
                                              : "frames " + std::to_string(first) + ".." +
                                                    std::to_string(first + count - 1);
        if (status == lumo::YUVReader::READ_ERROR_MEMORY) {
            reason = "out of memory reading " + frames;
            return kExitMemory;
        }
        if (status == lumo::YUVReader::READ_ERROR_HEADER) {
            reason = Quoted(input.path) + ": a frame among " + frames +
                     " does not start with its FRAME line";
        } else {
            reason = WhyReadFailed(input, first, count, frames);
        }
        return kExitInput;
    }

    const IqaComparison& owner;
    Shared& shared;
    bool opened = false;
    lumo::YUVFrameFile fileA;
    lumo::YUVFrameFile fileB;
    std::vector<const unsigned char*> framesA;
    std::vector<const unsigned char*> framesB;
};

IqaComparison::IqaComparison(const IqaOptions& options) : options(options)
{
    a.path = options.pathA;
    b.path = options.pathB;
}

IqaComparison::~IqaComparison() = default;

int64_t IqaComparison::FrameCount() const
{
    return frames;
}

const IqaInput& IqaComparison::InputA() const
{
    return a;
}

const IqaInput& IqaComparison::InputB() const
{
    return b;
}

int IqaComparison::Open(const IqaInput& input, lumo::YUVFrameFile& file, std::string& error) const
{
    int status = 0;
    std::string why;
    if (input.y4m) {
        status = file.OpenY4M(input.path, why);
    } else {
        status = file.OpenRaw(input.path, input.width, input.height, input.layout);
    }
    switch (status) {
    case lumo::YUVReader::READ_OK:
        return kExitOk;
    case lumo::YUVReader::READ_ERROR_MEMORY:
        error = "out of memory opening " + Quoted(input.path);
        return kExitMemory;
    case lumo::YUVReader::READ_ERROR_HEADER:
        error = Quoted(input.path) + ": bad Y4M header: " + why;
        return kExitInput;
    case lumo::YUVReader::READ_ERROR_FORMAT:
        error = "size " + SizeText(input.width, input.height) + " is not valid for layout " +
                input.layout.idName;
        if (input.width % 2 != 0) {
            error += " (packed 4:2:2 layouts need an even width)";
        }
        return kExitUsage;
    default:
        error = "cannot read " + Quoted(input.path) + ": " + WhyUnreadable(input.path);
        return kExitInput;
    }
}

int IqaComparison::Describe(IqaInput& input, const IqaInput* other,
                            std::vector<std::string>& notes, std::string& error) const
{
    input.width = options.width;
    input.height = options.height;
    input.layout = options.layout;
    lumo::RawFormatGuess guess;
    lumo::GuessRawFormat(input.path, guess);
    std::string from;
    const bool needSize = input.width == 0;
    const bool needLayout = input.layout == lumo::YUVType::YUV_TYPE_UNKNOW;
    if (needSize && guess.width > 0) {
        input.width = guess.width;
        input.height = guess.height;
        from = "size from the file name";
    } else if (needSize && other != nullptr) {
        input.width = other->width;
        input.height = other->height;
        from = "size from " + Quoted(other->path);
    }
    if (input.width == 0) {
        error = "no size for " + Quoted(input.path) +
                ": give --size WxH, or name the file like clip_1920x1080_i420.yuv";
        return kExitUsage;
    }
    if (needLayout) {
        std::string said;
        if (guess.type != lumo::YUVType::YUV_TYPE_UNKNOW) {
            input.layout = guess.type;
            said = "layout from the file name";
        } else if (other != nullptr) {
            input.layout = other->layout;
            said = "layout from " + Quoted(other->path);
        } else {
            input.layout = lumo::YUVType::YUV_TYPE_I420;
            said = "layout I420 assumed (give --layout ID to choose)";
        }
        from += (from.empty() ? "" : ", ") + said;
    }
    if (!from.empty()) {
        notes.push_back(Quoted(input.path) + " read as " + SizeText(input.width, input.height) +
                        " " + input.layout.idName + " (" + from + ")");
    }
    return kExitOk;
}

int IqaComparison::Prepare(std::string& error, std::vector<std::string>& notes)
{
    IqaInput* inputs[2] = {&a, &b};
    // Y4M streams first: a raw file without a size takes the stream's.
    for (IqaInput* input : inputs) {
        input->y4m = lumo::YUVFrameFile::IsY4MFile(input->path);
        if (input->y4m) {
            lumo::YUVFrameFile file;
            const int code = Open(*input, file, error);
            if (code != kExitOk) {
                return code;
            }
            input->width = file.Width();
            input->height = file.Height();
            input->layout = file.Type();
            input->frames = file.FrameCount();
        }
    }
    for (int i = 0; i < 2; ++i) {
        IqaInput& input = *inputs[i];
        if (input.y4m) {
            continue;
        }
        const IqaInput& other = *inputs[1 - i];
        int code = Describe(input, other.y4m ? &other : nullptr, notes, error);
        lumo::YUVFrameFile file;
        if (code == kExitOk) {
            code = Open(input, file, error);
        }
        if (code != kExitOk) {
            return code;
        }
        input.frames = file.FrameCount();
    }
    for (IqaInput* input : inputs) {
        if (input->frames == 0) {
            const lumo::YUVReader reader(input->path, input->width, input->height, input->layout);
            error = Quoted(input->path) + " holds no whole " +
                    SizeText(input->width, input->height) + " " + input->layout.idName +
                    " frame (" + std::to_string(reader.GetFrameLen()) + " bytes each)";
            return kExitInput;
        }
    }
    if (a.width != b.width || a.height != b.height) {
        error = "the inputs differ in size: " + Quoted(a.path) + " is " +
                SizeText(a.width, a.height) + ", " + Quoted(b.path) + " " +
                SizeText(b.width, b.height);
        return kExitInput;
    }
    frames = std::min(a.frames, b.frames);
    if (a.frames != b.frames) {
        notes.push_back(Quoted(a.path) + " has " + std::to_string(a.frames) + " frames, " +
                        Quoted(b.path) + " " + std::to_string(b.frames) + "; comparing the first " +
                        std::to_string(frames));
    }
    if (options.maxFrames > 0) {
        frames = std::min(frames, options.maxFrames);
    }
    return kExitOk;
}

int IqaComparison::Run(IqaSink& sink, std::string& error)
{
    Shared shared;
    const int64_t frameBytes = static_cast<int64_t>(a.width) * a.height * 3 / 2 + 1;
    shared.frames = frames;
    shared.batchFrames = std::clamp<int64_t>(kBatchBytes / frameBytes, 1, kMostBatchFrames);
    shared.batches = (frames + shared.batchFrames - 1) / shared.batchFrames;
    const int64_t cores = std::clamp<int64_t>(std::thread::hardware_concurrency(), 1, 64);
    const int64_t helpers = std::min(cores, shared.batches);
    // Room for every thread's batch and as many again waiting to be written.
    shared.slots.resize(static_cast<size_t>(2 * helpers + 2));
    if (helpers > 1) {
        // Batches already keep every core busy; SSIM need not split them too.
        lumo::SetMaxThreads(1);
    }

    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::thread> threads;
    workers.reserve(static_cast<size_t>(helpers) + 1);
    threads.reserve(static_cast<size_t>(helpers));
    for (int64_t i = 0; i < helpers; ++i) {
        try {
            workers.push_back(std::make_unique<Worker>(*this, shared));
            threads.emplace_back(&Worker::Loop, workers.back().get());
        } catch (const std::system_error&) {
            workers.pop_back();
            break; // fewer helpers: the writer scores what nobody claims
        } catch (const std::bad_alloc&) {
            break;
        }
    }
    // The writer's own worker, for batches it finds unclaimed.
    Worker own(*this, shared);

    // The sink may run out of memory: the helpers are stopped and joined
    // all the same.
    try {
        for (int64_t batch = 0; batch < shared.batches; ++batch) {
            Shared::Slot* slot = &shared.slots[static_cast<size_t>(batch) % shared.slots.size()];
            std::unique_lock<std::mutex> hold(shared.lock);
            for (;;) {
                if (batch >= shared.failedBatch || (slot->batch == batch && slot->done)) {
                    break;
                }
                if (shared.nextClaim == batch && shared.Claimable()) {
                    ++shared.nextClaim;
                    own.Claim(batch);
                    hold.unlock();
                    own.Score(batch);
                    hold.lock();
                    continue;
                }
                shared.changed.wait(hold);
            }
            if (batch >= shared.failedBatch) {
                break;
            }
            hold.unlock();
            const int64_t first = batch * shared.batchFrames;
            bool taken = true;
            for (size_t f = 0; f < slot->scores.size() && taken; ++f) {
                taken = sink.Frame(first + static_cast<int64_t>(f), slot->scores[f]);
            }
            hold.lock();
            if (!taken) {
                // Nothing more can be written: the rest is not worth scoring.
                shared.Fail(batch, kExitOutput, "writing the report failed");
                break;
            }
            shared.nextWrite = batch + 1;
            shared.changed.notify_all();
        }
    } catch (const std::bad_alloc&) {
        std::lock_guard<std::mutex> hold(shared.lock);
        shared.Fail(shared.nextWrite, kExitMemory, "out of memory");
    }
    {
        // A failure stops the helpers; without one they are done already.
        std::lock_guard<std::mutex> hold(shared.lock);
        shared.changed.notify_all();
    }
    for (std::thread& t : threads) {
        t.join();
    }
    if (shared.failedBatch != INT64_MAX) {
        error = shared.failReason.empty() ? "out of memory" : shared.failReason;
        return shared.failCode;
    }
    return kExitOk;
}

} // namespace lumo_iqa
