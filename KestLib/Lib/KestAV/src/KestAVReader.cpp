#include "KestAV/KestAVReader.h"

#include "KestAVPacketPrivate.h"
#include "KestAVReaderPrivate.h"
#include "KestAVStreamPrivate.h"
#include "core/KestLog.h"

#include <sys/stat.h>

namespace Kest {

namespace {

const char* const kLogFile = "KestLib/Lib/KestAV/KestAVReader";

// The largest single block FFmpeg may allocate. A plane of an 8K frame at 16
// bits is 66 MB; a corrupt file can make a demuxer ask for gigabytes (a WAV
// whose LIST chunk claims 4 GB has each of its tags zero-filled to that
// size), which then fails as out of memory instead of being granted.
constexpr size_t kMostBytesPerAllocation = 128u << 20;

} // namespace

KestAVReader::KestAVReader(KestString path) : imp(new KestAVReaderPrivate())
{
    imp->path = path;
#if LIBAVFORMAT_VERSION_INT < AV_VERSION_INT(58, 9, 100)
    av_register_all();
#endif
    avformat_network_init();
    av_max_alloc(kMostBytesPerAllocation);
    imp->ctx = avformat_alloc_context();
}

KestAVReader::~KestAVReader()
{
    if (imp->ctx != nullptr) {
        avformat_close_input(&imp->ctx);
    }
    delete imp;
}

int KestAVReader::Open()
{
    // FFmpeg would block for ever in opening a FIFO without a writer, and a
    // directory or a device has no media to offer: only regular files are
    // opened. stat() itself never blocks.
    struct stat st;
    if (stat(imp->path.CStr(), &st) != 0 || !S_ISREG(st.st_mode)) {
        av_log(nullptr, AV_LOG_ERROR, "%s: not a regular file\n", imp->path.CStr());
        // As after a failed open by FFmpeg: no container is left.
        avformat_free_context(imp->ctx);
        imp->ctx = nullptr;
        return -1;
    }
    // On failure FFmpeg frees the context and clears the pointer.
    if (avformat_open_input(&imp->ctx, imp->path.CStr(), nullptr, nullptr) != 0) {
        return -1;
    }
    avformat_find_stream_info(imp->ctx, nullptr);
    av_dump_format(imp->ctx, 0, imp->path.CStr(), 0);
    return 0;
}

int KestAVReader::Close()
{
    avformat_close_input(&imp->ctx);
    return 0;
}

int KestAVReader::GetStreamCount()
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return static_cast<int>(imp->ctx->nb_streams);
}

int KestAVReader::GetVideoStreamIndex()
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return av_find_best_stream(imp->ctx, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
}

int KestAVReader::GetAudioStreamIndex()
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return av_find_best_stream(imp->ctx, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
}

int KestAVReader::GetStream(KestAVStream& stream, int index)
{
    if (imp->ctx == nullptr || index < 0 || index >= GetStreamCount()) {
        return -1;
    }
    const AVStream* st = imp->ctx->streams[index];
    stream.duration = static_cast<double>(st->duration) * static_cast<double>(st->time_base.num) /
                      static_cast<double>(st->time_base.den);
    stream.streamIndex = st->index;
    avcodec_parameters_copy(stream.imp->par, st->codecpar);
#if LIBAVCODEC_VERSION_MAJOR < 59
    avcodec_copy_context(stream.imp->ctx, st->codec);
#else
    // The stream's own codec context is gone; its parameters describe it.
    avcodec_parameters_to_context(stream.imp->ctx, st->codecpar);
#endif
    GetStreamTimeBase(stream.timeBase, index);
    return 0;
}

int KestAVReader::GetStreamTimeBase(KestAVRational& timeBase, int index)
{
    if (index < 0 || index >= GetStreamCount()) {
        return -1;
    }
    const AVRational tb = imp->ctx->streams[index]->time_base;
    timeBase.num = tb.num;
    timeBase.den = tb.den;
    return 0;
}

int KestAVReader::Read(KestAVPacket* packet)
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return av_read_frame(imp->ctx, packet->imp->packet);
}

int KestAVReader::Seek(double seconds)
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return av_seek_frame(imp->ctx, -1, static_cast<int64_t>(1000000.0 * seconds), AVSEEK_FLAG_BACKWARD);
}

int KestAVReader::SeekFrame(int streamIndex, double seconds)
{
    KestAVRational tb;
    if (GetStreamTimeBase(tb, streamIndex) != 0) {
        return -1;
    }
    return SeekFrame(streamIndex, static_cast<int64_t>(seconds / av_q2d(AVRational{tb.num, tb.den})));
}

int KestAVReader::SeekFrame(int streamIndex, int64_t timestamp)
{
    if (imp->ctx == nullptr) {
        return -1;
    }
    return av_seek_frame(imp->ctx, streamIndex, timestamp, AVSEEK_FLAG_BACKWARD);
}

int KestAVReader::SetDiscard(int index, int discard)
{
    if (imp->ctx == nullptr || static_cast<unsigned>(index) >= imp->ctx->nb_streams) {
        return -1;
    }
    imp->ctx->streams[index]->discard = static_cast<AVDiscard>(discard);
    return 0;
}

int KestAVReader::SetDiscardStream(int index)
{
    return SetDiscard(index, AVDISCARD_ALL);
}

int KestAVReader::SetUnDiscardStream(int index)
{
    return SetDiscard(index, AVDISCARD_DEFAULT);
}

double KestAVReader::GetDuration()
{
    if (imp->ctx == nullptr) {
        return -1.0;
    }
    // Integer division first: whole seconds only.
    return static_cast<double>(imp->ctx->duration / 1000000);
}

int KestAVReader::PrintInfo()
{
    const int count = GetStreamCount();
    kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "=============================\n");
    kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "Url: %s\n", imp->path.CStr());
    kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "Stream Count: %d\n", count);
    for (int i = 0; i < count; i++) {
        const AVStream* st = imp->ctx->streams[i];
        kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "# Stream %d:\n", i);
        kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "    Duration: %f s\n",
                     static_cast<double>(st->duration) * st->time_base.num / st->time_base.den);
    }
    kest_log_log(kLogFile, "PrintInfo", __LINE__, 5, "=============================\n");
    return 0;
}

} // namespace Kest
