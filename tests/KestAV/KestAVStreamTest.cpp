#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVReader.h"
#include "KestAV/KestAVStream.h"

#include "TestMedia.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>

using namespace Kest;

namespace {

// Fills stream with stream index of the file; the reader stays open.
void OpenStream(KestAVReader& reader, KestAVStream& stream, int index)
{
    ASSERT_EQ(0, reader.Open());
    ASSERT_EQ(0, reader.GetStream(stream, index));
}

} // namespace

TEST(KestAVStream, StartsUnfilled)
{
    KestAVStream stream;
    EXPECT_EQ(-1, stream.streamIndex);
    EXPECT_EQ(0, stream.timeBase.num);
    EXPECT_EQ(0, stream.timeBase.den);
    EXPECT_EQ(0.0, stream.GetDuration());
    EXPECT_EQ(1, stream.GetStreamType());
    EXPECT_EQ(0, stream.GetWidth());
    EXPECT_EQ(0, stream.GetHeight());
}

TEST(KestAVStream, StoresTheDuration)
{
    KestAVStream stream;
    EXPECT_EQ(0, stream.SetDuration(2.5));
    EXPECT_EQ(2.5, stream.GetDuration());
}

TEST(KestAVStream, ScalesPacketPtsToSeconds)
{
    KestAVStream stream;
    stream.timeBase = KestAVRational(1, 1000);
    KestAVPacket packet;
    packet.SetPTS(1500);
    EXPECT_EQ(0, stream.ScalerPacketPTS(packet));
    EXPECT_DOUBLE_EQ(1.5, packet.GetSecPTS());
}

TEST(KestAVStream, NegativePtsScalesAsAHugeUnsignedNumber)
{
    KestAVStream stream;
    stream.timeBase = KestAVRational(1, 1000);
    KestAVPacket packet;
    packet.SetPTS(static_cast<uint64_t>(-1));
    stream.ScalerPacketPTS(packet);
    EXPECT_DOUBLE_EQ(18446744073709551615.0 / 1000.0, packet.GetSecPTS());
}

TEST(KestAVStream, VideoIsTypeTwoAudioIsTypeOne)
{
    kestav_test::TestMedia media;
    const std::string path = media.Make("av.mp4", {"-f", "lavfi", "-i", "testsrc2=s=32x32:r=25", "-f", "lavfi", "-i",
                                                   "sine=sample_rate=8000", "-t", "0.2", "-c:v", "libx264", "-c:a",
                                                   "aac"});
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    KestAVStream video;
    KestAVStream audio;
    ASSERT_EQ(0, reader.GetStream(video, reader.GetVideoStreamIndex()));
    ASSERT_EQ(0, reader.GetStream(audio, reader.GetAudioStreamIndex()));
    EXPECT_EQ(2, video.GetStreamType());
    EXPECT_EQ(1, audio.GetStreamType());
    EXPECT_EQ(32, video.GetWidth());
    EXPECT_EQ(32, video.GetHeight());
}

TEST(KestAVStream, SubtitleStreamIsTypeOne)
{
    kestav_test::TestMedia media;
    const std::string srt = media.File("cues.srt");
    {
        std::ofstream(srt) << "1\n00:00:00,000 --> 00:00:00,300\nhello\n";
    }
    const std::string path = media.Make("sub.mkv", {"-f", "lavfi", "-i", "testsrc2=s=32x32:r=25", "-i", srt,
                                                    "-frames:v", "2", "-c:v", "ffv1", "-c:s", "srt"});
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    KestAVStream subtitle;
    OpenStream(reader, subtitle, 1);
    EXPECT_EQ(1, subtitle.GetStreamType());
}

TEST(KestAVStream, DataStreamIsTypeOne)
{
    kestav_test::TestMedia media;
    // A QuickTime timecode track is a data stream.
    const std::string path = media.Make("tc.mov", {"-f", "lavfi", "-i", "testsrc2=s=32x32:r=25", "-frames:v", "2",
                                                   "-c:v", "ffv1", "-timecode", "00:00:00:00"});
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    ASSERT_EQ(2, reader.GetStreamCount());
    KestAVStream data;
    ASSERT_EQ(0, reader.GetStream(data, 1 - reader.GetVideoStreamIndex()));
    EXPECT_EQ(1, data.GetStreamType());
}

TEST(KestAVStream, CopyTakesCodecAndTimeBaseButNotIndexOrDuration)
{
    kestav_test::TestMedia media;
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    KestAVStream stream;
    OpenStream(reader, stream, 0);
    ASSERT_EQ(0, stream.streamIndex);
    ASSERT_GT(stream.GetDuration(), 0.0);

    KestAVStream copy(stream);
    EXPECT_EQ(2, copy.GetStreamType());
    EXPECT_EQ(64, copy.GetWidth());
    EXPECT_EQ(48, copy.GetHeight());
    EXPECT_EQ(stream.timeBase.num, copy.timeBase.num);
    EXPECT_EQ(stream.timeBase.den, copy.timeBase.den);
    EXPECT_EQ(-1, copy.streamIndex);
    EXPECT_EQ(0.0, copy.GetDuration());

    KestAVStream assigned;
    assigned.SetDuration(9.0);
    assigned = stream;
    EXPECT_EQ(64, assigned.GetWidth());
    EXPECT_EQ(stream.timeBase.den, assigned.timeBase.den);
    EXPECT_EQ(9.0, assigned.GetDuration());

    assigned = assigned;
    EXPECT_EQ(64, assigned.GetWidth());
}
