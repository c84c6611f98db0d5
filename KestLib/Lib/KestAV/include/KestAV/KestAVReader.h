#ifndef KEST_KESTAV_KESTAVREADER_H
#define KEST_KESTAV_KESTAVREADER_H

#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVRational.h"
#include "KestAV/KestAVStream.h"
#include "core/KestString.h"

#include <cstdint>

namespace Kest {

struct KestAVReaderPrivate;

// A media file's demuxer: opened once, read packet by packet until Read
// returns non-zero, then closed (or destroyed). Before Open the container
// is empty (no streams); after Close or a failed Open there is none, and
// every query answers -1.
class KestAVReader {
public:
    explicit KestAVReader(KestString path);
    ~KestAVReader();
    KestAVReader(const KestAVReader&) = delete;
    KestAVReader& operator=(const KestAVReader&) = delete;

    // -1 when the file cannot be opened as media. On success the container
    // description is printed on standard error.
    int Open();
    int Close();

    int GetStreamCount();
    // FFmpeg's best stream of that type; negative when there is none.
    int GetVideoStreamIndex();
    int GetAudioStreamIndex();
    // Fills stream from the container's stream at index. Its duration is the
    // stream's own; an unknown duration gives a huge negative number.
    int GetStream(KestAVStream& stream, int index);
    int GetStreamTimeBase(KestAVRational& timeBase, int index);

    // 0, or FFmpeg's negative code at the end of the file or on error.
    int Read(KestAVPacket* packet);

    // Seek to the key frame at or before the time; FFmpeg's result.
    int Seek(double seconds);
    int SeekFrame(int streamIndex, double seconds);
    int SeekFrame(int streamIndex, int64_t timestamp);

    // Stop or resume demuxing a stream; -1 for an index outside the
    // container (negative ones included).
    int SetDiscardStream(int index);
    int SetUnDiscardStream(int index);

    // The container's duration in whole seconds: truncated on purpose, so a
    // 2.9 s file gives 2.0. -1.0 without a container.
    double GetDuration();

    // Logs the path, stream count and stream durations at level 5.
    int PrintInfo();

private:
    int SetDiscard(int index, int discard);

    KestAVReaderPrivate* imp;
};

} // namespace Kest

#endif
