// The media conversion's path through KestAV on any bytes: open the file,
// find the video stream, open its decoder, demux and decode a bounded number
// of packets, and copy out every picture's planes the way the conversion
// does (and scaled to RGBA, as thumbnails are).

#include "FuzzInput.h"

#include "KestAV/KestAVDecoder.h"
#include "KestAV/KestAVFrame.h"
#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVReader.h"
#include "KestAV/KestAVStream.h"
#include "KestAV/KestAVTool.h"
#include "core/KestLog.h"

#include <vector>

namespace {

constexpr int kMostPackets = 64;
constexpr int kMostPictures = 8;
// Pictures larger than this are decoded but not copied out.
constexpr int64_t kMostPixels = 1 << 22;

void CopyOut(Kest::KestAVFrame& frame)
{
    const int64_t pixels = static_cast<int64_t>(frame.GetWidth()) * frame.GetHeight();
    if (pixels <= 0 || pixels > kMostPixels) {
        return;
    }
    Kest::KestYUVLen len;
    Kest::KestAVTool::GetYUVLen(frame, len);
    const Kest::KestAVPixelFormat format = frame.GetPixFormat();
    if (format == Kest::PIX_YUV420P || format == Kest::PIX_YUVJ420P || format == Kest::PIX_YUV422P ||
        format == Kest::PIX_YUV444P) {
        std::vector<unsigned char> y(static_cast<size_t>(len.yLen));
        std::vector<unsigned char> u(static_cast<size_t>(len.uLen));
        std::vector<unsigned char> v(static_cast<size_t>(len.vLen));
        frame.GetYData(y.data());
        frame.GetUData(u.data());
        frame.GetVData(v.data());
    }
    Kest::KestAVFrame rgba;
    if (frame.Scale(rgba, 32, 18, Kest::PIX_RGBA) == 0) {
        std::vector<unsigned char> out(32 * 18 * 4);
        rgba.GetRGBAData(out.data());
    }
}

void Drain(Kest::KestAVDecoder& decoder, int& pictures)
{
    for (;;) {
        Kest::KestAVFrame frame;
        if (pictures >= kMostPictures || decoder.RecvFrame(&frame) != 0) {
            return;
        }
        ++pictures;
        CopyOut(frame);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The wrappers log at level 5; nothing of it is wanted here.
    kest_log_set_level(6);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static lumo_fuzz::ScratchFile scratch;
    const std::string& path = scratch.Write(data, size);
    Kest::KestAVReader reader(Kest::KestString(path.c_str()));
    if (reader.Open() != 0) {
        return 0;
    }
    reader.GetDuration();
    const int video = reader.GetVideoStreamIndex();
    if (reader.GetStreamCount() < 1 || video < 0) {
        return 0;
    }
    Kest::KestAVStream stream;
    if (reader.GetStream(stream, video) != 0) {
        return 0;
    }
    stream.GetDuration();
    Kest::KestAVDecoder decoder;
    if (decoder.Init(&stream) != 0) {
        return 0;
    }
    int pictures = 0;
    for (int n = 0; n < kMostPackets && pictures < kMostPictures; ++n) {
        Kest::KestAVPacket packet;
        if (reader.Read(&packet) != 0) {
            break;
        }
        if (packet.GetStreamId() != video) {
            continue;
        }
        decoder.SendPacket(&packet);
        Drain(decoder, pictures);
    }
    decoder.SendPacket(nullptr);
    Drain(decoder, pictures);
    return 0;
}
