#include "KestAV/KestAVDecoder.h"
#include "KestAV/KestAVReader.h"

#include "LogCapture.h"
#include "TestMedia.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

using namespace Kest;

namespace {

// A reader on a file with the stream of one type filled.
class OpenMedia {
public:
    explicit OpenMedia(const std::string& path) : reader(KestString(path.c_str())) {}

    bool Open(bool video)
    {
        if (reader.Open() != 0) {
            return false;
        }
        index = video ? reader.GetVideoStreamIndex() : reader.GetAudioStreamIndex();
        return index >= 0 && reader.GetStream(stream, index) == 0;
    }

    // Sends every packet of the stream and drains; the size of each picture
    // in the order received.
    std::vector<int> DecodeAll(KestAVDecoder& decoder)
    {
        std::vector<int> widths;
        for (;;) {
            KestAVPacket packet;
            if (reader.Read(&packet) != 0) {
                break;
            }
            if (packet.GetStreamId() != index) {
                continue;
            }
            EXPECT_EQ(0, decoder.SendPacket(&packet));
            Receive(decoder, widths);
        }
        EXPECT_EQ(0, decoder.SendPacket(nullptr));
        Receive(decoder, widths);
        return widths;
    }

    KestAVReader reader;
    KestAVStream stream;
    int index = -1;

private:
    static void Receive(KestAVDecoder& decoder, std::vector<int>& widths)
    {
        KestAVFrame frame;
        while (decoder.RecvFrame(&frame) == 0) {
            widths.push_back(frame.GetWidth());
        }
    }
};

// The first RecvFrame result after each packet, up to count packets.
std::vector<int> FirstResults(OpenMedia& media, KestAVDecoder& decoder, int count)
{
    std::vector<int> results;
    while (static_cast<int>(results.size()) < count) {
        KestAVPacket packet;
        if (media.reader.Read(&packet) != 0) {
            break;
        }
        decoder.SendPacket(&packet);
        KestAVFrame frame;
        results.push_back(decoder.RecvFrame(&frame));
    }
    return results;
}

std::string FailLine(const std::string& function)
{
    return "[KestLib/Lib/KestAV/KestAVDecoder(#)] [" + function + "] Open Decoder Fail\n";
}

} // namespace

TEST(KestAVDecoder, UnknownCodecFailsAndLogsInit)
{
    kestav_test::LogCapture log;
    KestAVStream empty;
    KestAVDecoder decoder;
    EXPECT_EQ(-1, decoder.Init(&empty));
    EXPECT_EQ(FailLine("Init"), log.Text());
}

TEST(KestAVDecoder, UnknownCodecFailsAndLogsInitHW)
{
    kestav_test::LogCapture log;
    KestAVStream empty;
    KestAVDecoder decoder;
    EXPECT_EQ(-1, decoder.InitHW(&empty));
    EXPECT_EQ(FailLine("InitHW"), log.Text());
}

TEST(KestAVDecoder, UnknownCodecInAFileFails)
{
    kestav_test::TestMedia files;
    const std::string good = files.Video();
    ASSERT_FALSE(good.empty());
    // Renaming the sample entry leaves a video stream no decoder knows.
    std::string bytes = lumo_test::ReadWholeFile(good);
    for (size_t at = bytes.find("avc1"); at != std::string::npos; at = bytes.find("avc1", at)) {
        bytes.replace(at, 4, "zzzz");
    }
    const std::string path = files.File("unknown.mp4");
    std::ofstream(path, std::ios::binary) << bytes;

    OpenMedia media(path);
    ASSERT_TRUE(media.Open(true));
    kestav_test::LogCapture log;
    KestAVDecoder decoder;
    EXPECT_EQ(-1, decoder.Init(&media.stream));
    EXPECT_EQ(FailLine("Init"), log.Text());
}

TEST(KestAVDecoder, DecodesEveryPictureAndLogsNothing)
{
    kestav_test::TestMedia files;
    const std::string path = files.Video();
    ASSERT_FALSE(path.empty());
    OpenMedia media(path);
    ASSERT_TRUE(media.Open(true));
    kestav_test::LogCapture log;
    KestAVDecoder decoder;
    ASSERT_EQ(0, decoder.Init(&media.stream));
    EXPECT_EQ(std::vector<int>(10, 64), media.DecodeAll(decoder));
    EXPECT_EQ("", log.Text());

    KestAVFrame after;
    EXPECT_LT(decoder.RecvFrame(&after), 0);
}

TEST(KestAVDecoder, DecodesFromACopiedStream)
{
    kestav_test::TestMedia files;
    const std::string path = files.Video();
    ASSERT_FALSE(path.empty());
    OpenMedia media(path);
    ASSERT_TRUE(media.Open(true));
    KestAVStream copy(media.stream);
    KestAVDecoder decoder;
    ASSERT_EQ(0, decoder.InitHW(&copy));
    EXPECT_EQ(std::vector<int>(10, 64), media.DecodeAll(decoder));
}

TEST(KestAVDecoder, InitUsesFourThreadsInitHWDoesNot)
{
    // Four frame threads hold three pictures back until the pipeline is
    // full; a single thread hands each picture of a stream without B-frames
    // out at once.
    kestav_test::TestMedia files;
    const std::string path = files.Video();
    ASSERT_FALSE(path.empty());

    OpenMedia threaded(path);
    ASSERT_TRUE(threaded.Open(true));
    KestAVDecoder four;
    ASSERT_EQ(0, four.Init(&threaded.stream));
    const std::vector<int> held = FirstResults(threaded, four, 4);
    ASSERT_EQ(4u, held.size());
    EXPECT_LT(held[0], 0);
    EXPECT_LT(held[1], 0);
    EXPECT_LT(held[2], 0);
    EXPECT_EQ(0, held[3]);

    OpenMedia single(path);
    ASSERT_TRUE(single.Open(true));
    KestAVDecoder one;
    ASSERT_EQ(0, one.InitHW(&single.stream));
    EXPECT_EQ(std::vector<int>(4, 0), FirstResults(single, one, 4));
}

TEST(KestAVDecoder, ReportsAudioFrameSizeAndSampleRate)
{
    kestav_test::TestMedia files;
    const std::string path = files.Aac();
    ASSERT_FALSE(path.empty());
    OpenMedia media(path);
    ASSERT_TRUE(media.Open(false));
    KestAVDecoder decoder;
    ASSERT_EQ(0, decoder.Init(&media.stream));
    EXPECT_EQ(1024, decoder.GetFrameSize());
    EXPECT_EQ(8000, decoder.GetSampleRate());
}

TEST(KestAVDecoder, DrainedDecoderRefusesMorePackets)
{
    kestav_test::TestMedia files;
    const std::string path = files.Video();
    ASSERT_FALSE(path.empty());
    OpenMedia media(path);
    ASSERT_TRUE(media.Open(true));
    KestAVDecoder decoder;
    ASSERT_EQ(0, decoder.Init(&media.stream));
    media.DecodeAll(decoder);
    EXPECT_LT(decoder.SendPacket(nullptr), 0);
}
