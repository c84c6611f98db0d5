#include "KestAV/KestAVPacket.h"
#include "KestAV/KestAVReader.h"
#include "KestAV/KestAVStream.h"

#include "LogCapture.h"
#include "TestFifo.h"
#include "TestMedia.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>

using namespace Kest;

namespace {

// Counts the packets of each stream until Read fails; returns Read's last
// result.
int ReadAll(KestAVReader& reader, int counts[2])
{
    for (;;) {
        KestAVPacket packet;
        const int result = reader.Read(&packet);
        if (result != 0) {
            return result;
        }
        counts[packet.GetStreamId()]++;
    }
}

void ExpectNoContainer(KestAVReader& reader)
{
    KestAVStream stream;
    KestAVRational tb(5, 6);
    KestAVPacket packet;
    EXPECT_EQ(-1, reader.GetStreamCount());
    EXPECT_EQ(-1, reader.GetVideoStreamIndex());
    EXPECT_EQ(-1, reader.GetAudioStreamIndex());
    EXPECT_EQ(-1, reader.GetStream(stream, 0));
    EXPECT_EQ(-1, stream.streamIndex);
    EXPECT_EQ(-1, reader.GetStreamTimeBase(tb, 0));
    EXPECT_EQ(5, tb.num);
    EXPECT_EQ(-1, reader.Read(&packet));
    EXPECT_EQ(-1, reader.Seek(0.0));
    EXPECT_EQ(-1, reader.SeekFrame(0, 0.0));
    EXPECT_EQ(-1, reader.SeekFrame(0, int64_t{0}));
    EXPECT_EQ(-1, reader.SetDiscardStream(0));
    EXPECT_EQ(-1, reader.SetUnDiscardStream(0));
    EXPECT_EQ(-1.0, reader.GetDuration());
}

class KestAVReaderTest : public ::testing::Test {
protected:
    std::string WriteFile(const std::string& name, const std::string& bytes)
    {
        const std::string path = media.File(name);
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    // 0.4 s of video and 1 s of audio.
    std::string VideoAndAudio()
    {
        return media.Make("av.mp4", {"-f", "lavfi", "-i", "testsrc2=s=32x32:r=25", "-f", "lavfi", "-i",
                                     "sine=sample_rate=8000", "-frames:v", "10", "-t", "1", "-c:v", "libx264",
                                     "-c:a", "aac"});
    }

    kestav_test::TestMedia media;
};

} // namespace

TEST_F(KestAVReaderTest, MissingFileFailsToOpenAndLeavesNoContainer)
{
    KestAVReader reader(KestString(media.File("missing.mp4").c_str()));
    EXPECT_EQ(-1, reader.Open());
    ExpectNoContainer(reader);
}

TEST_F(KestAVReaderTest, TextFileFailsToOpen)
{
    KestAVReader reader(KestString(WriteFile("notes.txt", "just some words, not media\n").c_str()));
    EXPECT_EQ(-1, reader.Open());
    ExpectNoContainer(reader);
}

TEST_F(KestAVReaderTest, EmptyFileFailsToOpen)
{
    KestAVReader reader(KestString(WriteFile("empty.mp4", "").c_str()));
    EXPECT_EQ(-1, reader.Open());
    ExpectNoContainer(reader);
}

TEST_F(KestAVReaderTest, AWavWhoseInfoChunkClaimsGigabytesIsRefusedWithoutTakingThem)
{
    // A WAV whose LIST INFO chunk claims about 4 GB, with tags that claim
    // hundreds of MB each: FFmpeg zero-fills a block of each tag's size
    // before reading it (2.1 GB for these 224 bytes, found by fuzz_kestav).
    const std::string wav(
        "\x52\x49\x46\x46\xd6\x01\x00\x00\x57\x41\x56\x45\x66\x6d\x74\x20"
        "\x10\x00\x00\x00\x01\x00\x01\x00\x40\x1f\x00\x00\x40\x1f\x00\x00"
        "\x01\x00\x08\x00\x4c\x49\x53\x54\x19\xff\xff\xf6\x49\x4e\x46\x4f"
        "\x49\x53\x46\x54\x0e\x00\x00\x00\x4c\x61\x76\x66\x35\x39\x2e\x32"
        "\x37\x74\x78\x7d\x83\x88\x8c\x8f\x8f\x8e\x8c\x87\x82\x7d\x77\x73"
        "\x70\x70\x70\x73\x77\x7d\x82\x87\x8b\x8e\x87\x8b\x8e\x8f\x8f\x8c"
        "\x88\x83\x7d\x78\x74\x71\x70\x70\x73\x77\x7c\x81\x86\x8b\x8e\x8f"
        "\x8f\x8d\x89\x79\x7e\x75\x71\x84\x70\x70\x72\x76\xc2\x80\x85\x8a"
        "\x8e\x8f\x8f\x8c\x88\x83\x7e\x79\x74\x71\x70\x70\x72\x76\x7b\x81"
        "\x86\x8a\x8e\x8f\x8f\x8d\x89\x84\x7f\x7a\xff\xff\xff\xff\xff\xff"
        "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"
        "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"
        "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"
        "\xff\xff\xff\xff\xff\xff\xff\xff\xff\x75\x71\x70\x70\x72\x75\x7a",
        224);
    rusage before {};
    getrusage(RUSAGE_SELF, &before);
    KestAVReader reader(KestString(WriteFile("huge-info.wav", wav).c_str()));
    EXPECT_EQ(-1, reader.Open());
    rusage after {};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 256 * 1024) << "KiB more at the peak";
}

TEST_F(KestAVReaderTest, FifoFailsToOpenWithoutWaitingForAWriter)
{
    lumo_test::TestFifo fifo(media.File("pipe.mp4"));
    ASSERT_TRUE(fifo.Made());
    KestAVReader reader(KestString(fifo.Path().c_str()));
    int result = 0;
    EXPECT_TRUE(fifo.ReturnsWithin([&] { result = reader.Open(); }, std::chrono::seconds(5)));
    EXPECT_EQ(-1, result);
    ExpectNoContainer(reader);
}

TEST_F(KestAVReaderTest, DirectoryAndDeviceFailToOpen)
{
    for (const std::string& path : {media.File(""), std::string("/dev/zero")}) {
        KestAVReader reader(KestString(path.c_str()));
        EXPECT_EQ(-1, reader.Open()) << path;
        ExpectNoContainer(reader);
    }
}

TEST_F(KestAVReaderTest, UnopenedReaderHasAnEmptyContainer)
{
    KestAVReader reader(KestString(media.File("never-opened.mp4").c_str()));
    EXPECT_EQ(0, reader.GetStreamCount());
    EXPECT_LT(reader.GetVideoStreamIndex(), 0);
    EXPECT_EQ(-1, reader.SetDiscardStream(0));
}

TEST_F(KestAVReaderTest, OpensAVideoFile)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(1, reader.GetStreamCount());
    EXPECT_EQ(0, reader.GetVideoStreamIndex());
    EXPECT_LT(reader.GetAudioStreamIndex(), 0);

    KestAVStream stream;
    ASSERT_EQ(0, reader.GetStream(stream, 0));
    EXPECT_EQ(0, stream.streamIndex);
    EXPECT_EQ(1, stream.timeBase.num);
    EXPECT_EQ(12800, stream.timeBase.den);
    EXPECT_DOUBLE_EQ(0.4, stream.GetDuration());
    EXPECT_EQ(64, stream.GetWidth());
}

TEST_F(KestAVReaderTest, FindsVideoAndAudioStreams)
{
    const std::string path = VideoAndAudio();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(2, reader.GetStreamCount());
    EXPECT_EQ(0, reader.GetVideoStreamIndex());
    EXPECT_EQ(1, reader.GetAudioStreamIndex());
}

TEST_F(KestAVReaderTest, StreamIndexOutsideTheContainerFails)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    KestAVStream stream;
    KestAVRational tb(5, 6);
    EXPECT_EQ(-1, reader.GetStream(stream, -1));
    EXPECT_EQ(-1, reader.GetStream(stream, 1));
    EXPECT_EQ(-1, stream.streamIndex);
    EXPECT_EQ(-1, reader.GetStreamTimeBase(tb, -1));
    EXPECT_EQ(-1, reader.GetStreamTimeBase(tb, 1));
    EXPECT_EQ(5, tb.num);
    EXPECT_EQ(0, reader.GetStreamTimeBase(tb, 0));
    EXPECT_EQ(1, tb.num);
    EXPECT_EQ(12800, tb.den);
}

TEST_F(KestAVReaderTest, DurationIsTruncatedToWholeSeconds)
{
    const std::string path = media.Make("long.mp4", {"-f", "lavfi", "-i", "testsrc2=s=16x16:r=10", "-t", "2.9",
                                                     "-c:v", "mpeg4"});
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(2.0, reader.GetDuration());
    KestAVStream stream;
    ASSERT_EQ(0, reader.GetStream(stream, 0));
    EXPECT_NEAR(2.9, stream.GetDuration(), 1e-9);
}

TEST_F(KestAVReaderTest, UnknownStreamDurationIsAHugeNegativeNumber)
{
    const std::string path = media.Ffv1();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    KestAVStream stream;
    ASSERT_EQ(0, reader.GetStream(stream, 0));
    EXPECT_EQ(1000, stream.timeBase.den);
    EXPECT_DOUBLE_EQ(static_cast<double>(INT64_MIN) / 1000.0, stream.GetDuration());
}

TEST_F(KestAVReaderTest, ReadsEveryPacketThenANegativeCode)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    int counts[2] = {0, 0};
    EXPECT_LT(ReadAll(reader, counts), 0);
    EXPECT_EQ(10, counts[0]);
}

TEST_F(KestAVReaderTest, DiscardRejectsIndexesOutsideTheContainer)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(-1, reader.SetDiscardStream(-1));
    EXPECT_EQ(-1, reader.SetDiscardStream(1));
    EXPECT_EQ(-1, reader.SetUnDiscardStream(-1));
    EXPECT_EQ(-1, reader.SetUnDiscardStream(1));
    EXPECT_EQ(0, reader.SetDiscardStream(0));
    EXPECT_EQ(0, reader.SetUnDiscardStream(0));
}

TEST_F(KestAVReaderTest, DiscardedStreamIsNotRead)
{
    const std::string path = VideoAndAudio();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    ASSERT_EQ(0, reader.SetDiscardStream(1));
    // The seek drops packets already buffered while probing the streams.
    ASSERT_GE(reader.Seek(0.0), 0);
    int counts[2] = {0, 0};
    ReadAll(reader, counts);
    EXPECT_EQ(10, counts[0]);
    EXPECT_EQ(0, counts[1]);

    ASSERT_EQ(0, reader.SetUnDiscardStream(1));
    ASSERT_GE(reader.Seek(0.0), 0);
    int again[2] = {0, 0};
    ReadAll(reader, again);
    EXPECT_EQ(10, again[0]);
    EXPECT_GT(again[1], 0);
}

TEST_F(KestAVReaderTest, SeeksBackToTheKeyFrame)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    int counts[2] = {0, 0};
    ReadAll(reader, counts);

    KestAVPacket packet;
    ASSERT_GE(reader.Seek(0.2), 0);
    ASSERT_EQ(0, reader.Read(&packet));
    EXPECT_EQ(0, packet.GetPTS());

    ReadAll(reader, counts);
    KestAVPacket second;
    ASSERT_GE(reader.SeekFrame(0, 0.3), 0);
    ASSERT_EQ(0, reader.Read(&second));
    EXPECT_EQ(0, second.GetPTS());

    ReadAll(reader, counts);
    KestAVPacket third;
    ASSERT_GE(reader.SeekFrame(0, int64_t{2560}), 0);
    ASSERT_EQ(0, reader.Read(&third));
    EXPECT_EQ(0, third.GetPTS());
}

TEST_F(KestAVReaderTest, SeekFrameInSecondsNeedsAStream)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(-1, reader.SeekFrame(1, 0.0));
    EXPECT_EQ(-1, reader.SeekFrame(-1, 0.0));
}

TEST_F(KestAVReaderTest, CloseEndsTheContainer)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    EXPECT_EQ(0, reader.Close());
    ExpectNoContainer(reader);
    EXPECT_EQ(0, reader.Close());
}

TEST_F(KestAVReaderTest, PrintInfoLogsPathCountAndDurations)
{
    const std::string path = media.Video();
    ASSERT_FALSE(path.empty());
    KestAVReader reader(KestString(path.c_str()));
    ASSERT_EQ(0, reader.Open());
    kestav_test::LogCapture log;
    EXPECT_EQ(0, reader.PrintInfo());
    const std::string prefix = "[KestLib/Lib/KestAV/KestAVReader(#)] [PrintInfo] ";
    EXPECT_EQ(prefix + "=============================\n" + prefix + "Url: " + path + "\n" + prefix +
                  "Stream Count: 1\n" + prefix + "# Stream 0:\n" + prefix + "    Duration: 0.400000 s\n" + prefix +
                  "=============================\n",
              log.Text());
}

TEST_F(KestAVReaderTest, PrintInfoWithoutAContainerLogsACountOfMinusOne)
{
    KestAVReader reader(KestString(media.File("missing.mp4").c_str()));
    ASSERT_EQ(-1, reader.Open());
    kestav_test::LogCapture log;
    EXPECT_EQ(0, reader.PrintInfo());
    const std::string text = log.Text();
    EXPECT_NE(std::string::npos, text.find("[PrintInfo] Stream Count: -1\n")) << text;
    EXPECT_EQ(std::string::npos, text.find("# Stream")) << text;
}
