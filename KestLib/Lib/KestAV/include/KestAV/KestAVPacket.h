#ifndef KEST_KESTAV_KESTAVPACKET_H
#define KEST_KESTAV_KESTAVPACKET_H

#include "KestAV/KestAVRational.h"

#include <cstdint>

namespace Kest {

struct KestAVPacketPrivate;

// One compressed packet read from a container.
class KestAVPacket {
public:
    KestAVPacket();
    // Copies the last flag and the seconds and takes a new reference to (or
    // a copy of) the source's payload.
    KestAVPacket(const KestAVPacket& other);
    KestAVPacket& operator=(const KestAVPacket& other);
    ~KestAVPacket();

    int GetStreamId();
    int SetStreamId(int streamId);
    int64_t GetPTS();
    int64_t GetDTS();
    int SetPTS(uint64_t pts);
    int SetDTS(uint64_t dts);

    int GetSize();
    unsigned char* GetDataPtr();
    // Points the payload at data without copying it or taking ownership;
    // the size is left as it is.
    int SetDataPtr(unsigned char* data);

    // The seconds set by KestAVStream::ScalerPacketPTS; 0.0 until then.
    double GetSecPTS();

    // Converts pts, dts and duration from one time base to another.
    int RescaleTs(KestAVRational& from, KestAVRational& to);

    int SetLast();
    int IsLast();

private:
    friend class KestAVReader;
    friend class KestAVDecoder;
    friend class KestAVStream;

    KestAVPacketPrivate* imp;
};

} // namespace Kest

#endif
