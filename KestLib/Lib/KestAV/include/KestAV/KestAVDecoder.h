#ifndef KEST_KESTAV_KESTAVDECODER_H
#define KEST_KESTAV_KESTAVDECODER_H

#include "KestAV/KestAVFrame.h"
#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVStream.h"

namespace Kest {

struct KestAVDecoderPrivate;

// A decoder for one stream: initialised once from a stream filled by
// KestAVReader::GetStream, fed with SendPacket, drained with
// SendPacket(nullptr) and RecvFrame until RecvFrame returns non-zero.
class KestAVDecoder {
public:
    KestAVDecoder();
    ~KestAVDecoder();
    KestAVDecoder(const KestAVDecoder&) = delete;
    KestAVDecoder& operator=(const KestAVDecoder&) = delete;

    // Opens the stream's decoder with 4 threads. -1, with the log line
    // "Open Decoder Fail", when the codec is unknown or cannot be opened.
    int Init(KestAVStream* stream);
    // The same with FFmpeg's default thread count; it sets up no hardware
    // device despite its name.
    int InitHW(KestAVStream* stream);

    // A null packet starts draining. FFmpeg's result.
    int SendPacket(KestAVPacket* packet);
    // 0 when a frame was produced, negative when more input is needed or
    // the decoder is drained.
    int RecvFrame(KestAVFrame* frame);

    // Audio: samples per frame and sample rate.
    int GetFrameSize();
    int GetSampleRate();

private:
    int Open(KestAVStream* stream, int threadCount, const char* function);

    KestAVDecoderPrivate* imp;
};

} // namespace Kest

#endif
