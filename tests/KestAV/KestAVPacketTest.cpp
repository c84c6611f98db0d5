#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVReader.h"

#include "TestMedia.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

using namespace Kest;

namespace {

// The first packet of a small H.264 file.
class KestAVPacketFromFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::string path = media.Video();
        ASSERT_FALSE(path.empty());
        reader = std::make_unique<KestAVReader>(KestString(path.c_str()));
        ASSERT_EQ(0, reader->Open());
        ASSERT_EQ(0, reader->Read(&packet));
        ASSERT_GT(packet.GetSize(), 0);
    }

    kestav_test::TestMedia media;
    std::unique_ptr<KestAVReader> reader;
    KestAVPacket packet;
};

} // namespace

TEST(KestAVPacket, StartsEmpty)
{
    KestAVPacket packet;
    EXPECT_EQ(0, packet.IsLast());
    EXPECT_EQ(0.0, packet.GetSecPTS());
    EXPECT_EQ(0, packet.GetSize());
    EXPECT_EQ(nullptr, packet.GetDataPtr());
    EXPECT_EQ(0, packet.GetStreamId());
}

TEST(KestAVPacket, StoresTimestampsAndStreamId)
{
    KestAVPacket packet;
    EXPECT_EQ(0, packet.SetPTS(1234));
    EXPECT_EQ(0, packet.SetDTS(1200));
    EXPECT_EQ(0, packet.SetStreamId(3));
    EXPECT_EQ(1234, packet.GetPTS());
    EXPECT_EQ(1200, packet.GetDTS());
    EXPECT_EQ(3, packet.GetStreamId());
}

TEST(KestAVPacket, UnsignedTimestampsWrapIntoSignedOnes)
{
    KestAVPacket packet;
    packet.SetPTS(UINT64_MAX);
    packet.SetDTS(UINT64_MAX - 1);
    EXPECT_EQ(-1, packet.GetPTS());
    EXPECT_EQ(-2, packet.GetDTS());
}

TEST(KestAVPacket, SetDataPtrNeitherCopiesNorResizes)
{
    unsigned char bytes[4] = {1, 2, 3, 4};
    KestAVPacket packet;
    EXPECT_EQ(0, packet.SetDataPtr(bytes));
    EXPECT_EQ(bytes, packet.GetDataPtr());
    EXPECT_EQ(0, packet.GetSize());
}

TEST(KestAVPacket, LastFlag)
{
    KestAVPacket packet;
    EXPECT_EQ(0, packet.SetLast());
    EXPECT_EQ(1, packet.IsLast());
}

TEST(KestAVPacket, RescalesTimestamps)
{
    KestAVPacket packet;
    packet.SetPTS(100);
    packet.SetDTS(99);
    KestAVRational from(1, 25);
    KestAVRational to(1, 1000);
    EXPECT_EQ(0, packet.RescaleTs(from, to));
    EXPECT_EQ(4000, packet.GetPTS());
    EXPECT_EQ(3960, packet.GetDTS());
}

TEST_F(KestAVPacketFromFile, CopyKeepsPayloadTimestampsAndFlags)
{
    packet.SetLast();
    KestAVPacket copy(packet);
    EXPECT_EQ(packet.GetSize(), copy.GetSize());
    ASSERT_NE(nullptr, copy.GetDataPtr());
    EXPECT_EQ(0, memcmp(packet.GetDataPtr(), copy.GetDataPtr(), packet.GetSize()));
    EXPECT_EQ(packet.GetPTS(), copy.GetPTS());
    EXPECT_EQ(packet.GetDTS(), copy.GetDTS());
    EXPECT_EQ(packet.GetStreamId(), copy.GetStreamId());
    EXPECT_EQ(1, copy.IsLast());
}

TEST_F(KestAVPacketFromFile, AssignmentReplacesThePacket)
{
    KestAVPacket other;
    ASSERT_EQ(0, reader->Read(&other));
    const int firstSize = packet.GetSize();
    other = packet;
    EXPECT_EQ(firstSize, other.GetSize());
    EXPECT_EQ(0, memcmp(packet.GetDataPtr(), other.GetDataPtr(), firstSize));
    EXPECT_EQ(0, other.IsLast());

    other = other;
    EXPECT_EQ(firstSize, other.GetSize());
}

TEST(KestAVPacket, CopyOfBorrowedDataOwnsItsOwnBytes)
{
    unsigned char bytes[4] = {1, 2, 3, 4};
    KestAVPacket packet;
    packet.SetDataPtr(bytes);
    KestAVPacket copy(packet);
    EXPECT_NE(bytes, copy.GetDataPtr());
    EXPECT_EQ(0, copy.GetSize());
}
