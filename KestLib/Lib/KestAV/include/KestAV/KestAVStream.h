#ifndef KEST_KESTAV_KESTAVSTREAM_H
#define KEST_KESTAV_KESTAVSTREAM_H

#include "KestAV/KestAVRational.h"

namespace Kest {

class KestAVPacket;
struct KestAVStreamPrivate;

// One elementary stream as copied out of a container by
// KestAVReader::GetStream: its codec description, time base and duration.
class KestAVStream {
public:
    KestAVStream();
    // Copies the codec description and the time base only; the copy keeps
    // streamIndex -1 and duration 0.0.
    KestAVStream(const KestAVStream& other);
    KestAVStream& operator=(const KestAVStream& other);
    ~KestAVStream();

    // 2 for video, 1 for every other type (audio, subtitle, data, unknown).
    int GetStreamType();
    int GetWidth();
    int GetHeight();

    // Seconds.
    double GetDuration();
    int SetDuration(double duration);

    // Sets the packet's seconds from its pts, taken as an unsigned 64-bit
    // number, times the time base (so a negative pts gives a huge value).
    int ScalerPacketPTS(KestAVPacket& packet);

    // The stream's index in its container; -1 until filled.
    int streamIndex;
    // 0/0 until filled.
    KestAVRational timeBase;

private:
    friend class KestAVReader;
    friend class KestAVDecoder;

    KestAVStreamPrivate* imp;
    double duration;
};

} // namespace Kest

#endif
