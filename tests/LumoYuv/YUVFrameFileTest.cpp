// YUVFrameFile: runs of frames of raw and Y4M files as I420, the same bytes
// as YUVReader::ReadFrameYUV420, and every failure as its status.

#include "Y4MTestSupport.h"

#include "lumo/YUVFrameFile.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace lumo_yuv_test;
using lumo::YUVFrameFile;
using lumo::YUVReader;

namespace {

lumo::YUVType TypeOf(const std::string& id)
{
    return lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(id);
}

const LayoutDef& Def(const std::string& id)
{
    for (const LayoutDef& d : Layouts()) {
        if (d.id == id) {
            return d;
        }
    }
    return Layouts().front();
}

class FrameFileTest : public ::testing::Test {
protected:
    // Frames of a layout; also written as a raw file at rawPath.
    std::vector<Bytes> MakeFrames(const std::string& id, int w, int h, int count)
    {
        std::vector<Bytes> frames;
        Bytes all;
        for (int f = 0; f < count; ++f) {
            frames.push_back(WriteFrame(Def(id), RandomPicture(Def(id), w, h, rng)));
            all.insert(all.end(), frames.back().begin(), frames.back().end());
        }
        rawPath = dir.File(id + ".yuv");
        WriteFile(rawPath, all);
        return frames;
    }

    // What ReadFrameYUV420 gives for frame f of the raw file.
    Bytes Expected(const std::string& id, int w, int h, int f)
    {
        const YUVReader reader(rawPath, w, h, TypeOf(id));
        int status = 0;
        LibBuffer out(reader.ReadFrameYUV420(nullptr, &status, static_cast<long>(f * reader.GetFrameLen())));
        EXPECT_NE(out, nullptr);
        const size_t len = static_cast<size_t>(w) * h + 2 * static_cast<size_t>(w / 2) * (h / 2);
        return out ? Bytes(out.get(), out.get() + len) : Bytes();
    }

    lumo_test::TempDir dir;
    std::mt19937 rng{77};
    std::string rawPath;
};

TEST_F(FrameFileTest, RawRunsMatchTheReaderFrameByFrame)
{
    for (const LayoutDef& d : Layouts()) {
        const int w = d.family == Family::Packed ? 18 : 17;
        const int h = 9;
        SCOPED_TRACE(d.id);
        MakeFrames(d.id, w, h, 7);
        YUVFrameFile file;
        ASSERT_EQ(file.OpenRaw(rawPath, w, h, TypeOf(d.id)), YUVReader::READ_OK);
        EXPECT_EQ(file.FrameCount(), 7);
        EXPECT_EQ(file.Width(), w);
        EXPECT_EQ(file.Height(), h);
        EXPECT_FALSE(file.IsY4M());
        // Runs of different lengths, reusing the buffers.
        for (auto [first, count] : {std::pair{0, 7}, {2, 3}, {6, 1}, {0, 1}}) {
            std::vector<const unsigned char*> frames(static_cast<size_t>(count));
            ASSERT_EQ(file.ReadI420(first, count, frames.data()), YUVReader::READ_OK);
            for (int i = 0; i < count; ++i) {
                EXPECT_EQ(Bytes(frames[static_cast<size_t>(i)],
                                frames[static_cast<size_t>(i)] + file.I420Len()),
                          Expected(d.id, w, h, first + i))
                    << "frame " << first + i;
            }
        }
    }
}

TEST_F(FrameFileTest, Y4MFramesMatchTheRawOnes)
{
    const std::pair<const char*, const char*> cases[] = {
        {"420jpeg", "I420"}, {"422", "I422"}, {"444", "I444"}, {"mono", "GRAY"}, {"420p10", "I420P10"},
        {"444p10", "I444P10"}};
    for (auto [cs, id] : cases) {
        SCOPED_TRACE(cs);
        const std::vector<Bytes> frames = MakeFrames(id, 16, 6, 4);
        const std::string path = dir.File("s.y4m");
        WriteFile(path, MakeY4M(std::string("YUV4MPEG2 W16 H6 F25:1 C") + cs, frames));
        EXPECT_TRUE(YUVFrameFile::IsY4MFile(path));
        EXPECT_FALSE(YUVFrameFile::IsY4MFile(rawPath));
        YUVFrameFile file;
        std::string why;
        ASSERT_EQ(file.OpenY4M(path, why), YUVReader::READ_OK) << why;
        EXPECT_TRUE(file.IsY4M());
        EXPECT_EQ(file.Type().idName, id);
        ASSERT_EQ(file.FrameCount(), 4);
        std::vector<const unsigned char*> out(4);
        ASSERT_EQ(file.ReadI420(0, 4, out.data()), YUVReader::READ_OK);
        for (int f = 0; f < 4; ++f) {
            EXPECT_EQ(Bytes(out[static_cast<size_t>(f)], out[static_cast<size_t>(f)] + file.I420Len()),
                      Expected(id, 16, 6, f));
        }
    }
}

TEST_F(FrameFileTest, FrameLinesWithFieldsOfOddLengthKeep10BitSamplesRight)
{
    const std::vector<Bytes> frames = MakeFrames("I420P10", 8, 4, 3);
    const std::string path = dir.File("odd.y4m");
    WriteFile(path, MakeY4M("YUV4MPEG2 W8 H4 C420p10", frames, "FRAME Ip"));
    YUVFrameFile file;
    std::string why;
    ASSERT_EQ(file.OpenY4M(path, why), YUVReader::READ_OK) << why;
    ASSERT_EQ(file.FrameCount(), 3);
    for (int f = 0; f < 3; ++f) {
        const unsigned char* out = nullptr;
        ASSERT_EQ(file.ReadI420(f, 1, &out), YUVReader::READ_OK);
        EXPECT_EQ(Bytes(out, out + file.I420Len()), Expected("I420P10", 8, 4, f));
    }
}

TEST_F(FrameFileTest, AMissingFrameLineIsAHeaderError)
{
    const std::vector<Bytes> frames = MakeFrames("I420", 8, 4, 3);
    Bytes stream = MakeY4M("YUV4MPEG2 W8 H4", frames);
    const size_t second = stream.size() - 2 * (frames[0].size() + 6);
    stream[second] = 'X'; // FRAME of the second frame becomes XRAME
    const std::string path = dir.File("bad.y4m");
    WriteFile(path, stream);
    YUVFrameFile file;
    std::string why;
    ASSERT_EQ(file.OpenY4M(path, why), YUVReader::READ_OK) << why;
    const unsigned char* out[3];
    EXPECT_EQ(file.ReadI420(0, 1, out), YUVReader::READ_OK);
    EXPECT_EQ(file.ReadI420(1, 1, out), YUVReader::READ_ERROR_HEADER);
    EXPECT_EQ(file.ReadI420(0, 3, out), YUVReader::READ_ERROR_HEADER);
    EXPECT_EQ(file.ReadI420(2, 1, out), YUVReader::READ_OK);
}

TEST_F(FrameFileTest, BadStreamHeadersFailToOpenWithAReason)
{
    for (const std::string header : {"YUV4MPEG2 W8", "YUV4MPEG2 W8 H4 C411", "YUV4MPEG2 W7 H4"}) {
        const std::string path = dir.File("h.y4m");
        WriteFile(path, MakeY4M(header, {Bytes(48, 1)}));
        YUVFrameFile file;
        std::string why;
        EXPECT_EQ(file.OpenY4M(path, why), YUVReader::READ_ERROR_HEADER) << header;
        EXPECT_FALSE(why.empty());
        EXPECT_EQ(file.FrameCount(), 0);
    }
    // The first frame without its FRAME line.
    Bytes noFrameLine = MakeY4M("YUV4MPEG2 W8 H4", {});
    noFrameLine.insert(noFrameLine.end(), 48, 'F');
    WriteFile(dir.File("n.y4m"), noFrameLine);
    YUVFrameFile file;
    std::string why;
    EXPECT_EQ(file.OpenY4M(dir.File("n.y4m"), why), YUVReader::READ_ERROR_HEADER);
    EXPECT_NE(why.find("FRAME"), std::string::npos) << why;
}

TEST_F(FrameFileTest, AStreamWithoutFramesHasNone)
{
    WriteFile(dir.File("e.y4m"), MakeY4M("YUV4MPEG2 W8 H4", {}));
    YUVFrameFile file;
    std::string why;
    ASSERT_EQ(file.OpenY4M(dir.File("e.y4m"), why), YUVReader::READ_OK) << why;
    EXPECT_EQ(file.FrameCount(), 0);
    const unsigned char* out = nullptr;
    EXPECT_EQ(file.ReadI420(0, 1, &out), YUVReader::READ_ERROR_OFFSET);
}

TEST_F(FrameFileTest, RunsOutsideTheFileAreRefused)
{
    MakeFrames("I420", 8, 4, 3);
    YUVFrameFile file;
    ASSERT_EQ(file.OpenRaw(rawPath, 8, 4, lumo::YUVType::YUV_TYPE_I420), YUVReader::READ_OK);
    const unsigned char* out[4];
    EXPECT_EQ(file.ReadI420(-1, 1, out), YUVReader::READ_ERROR_OFFSET);
    EXPECT_EQ(file.ReadI420(3, 1, out), YUVReader::READ_ERROR_OFFSET);
    EXPECT_EQ(file.ReadI420(2, 2, out), YUVReader::READ_ERROR_OFFSET);
    EXPECT_EQ(file.ReadI420(0, 0, out), YUVReader::READ_ERROR_OFFSET);
    EXPECT_EQ(file.ReadI420(0, 3, out), YUVReader::READ_OK);
}

TEST_F(FrameFileTest, AFileThatShrinksFailsItsReads)
{
    MakeFrames("NV12", 8, 4, 3);
    YUVFrameFile file;
    ASSERT_EQ(file.OpenRaw(rawPath, 8, 4, TypeOf("NV12")), YUVReader::READ_OK);
    std::filesystem::resize_file(rawPath, 48 + 10);
    const unsigned char* out[3];
    EXPECT_EQ(file.ReadI420(0, 1, out), YUVReader::READ_OK);
    EXPECT_EQ(file.ReadI420(1, 1, out), YUVReader::READ_ERROR_FILE);
}

TEST_F(FrameFileTest, OpenFailures)
{
    YUVFrameFile file;
    EXPECT_EQ(file.OpenRaw(dir.File("none.yuv"), 8, 4, lumo::YUVType::YUV_TYPE_I420),
              YUVReader::READ_ERROR_FILE);
    EXPECT_EQ(file.OpenRaw(dir.Path(), 8, 4, lumo::YUVType::YUV_TYPE_I420), YUVReader::READ_ERROR_FILE);
    MakeFrames("I420", 8, 4, 1);
    EXPECT_EQ(file.OpenRaw(rawPath, 0, 4, lumo::YUVType::YUV_TYPE_I420), YUVReader::READ_ERROR_FORMAT);
    EXPECT_EQ(file.OpenRaw(rawPath, 7, 4, TypeOf("YUYV")), YUVReader::READ_ERROR_FORMAT);
    EXPECT_EQ(file.OpenRaw(rawPath, 8, 4, lumo::YUVType::YUV_TYPE_UNKNOW), YUVReader::READ_ERROR_FORMAT);
    std::string why;
    EXPECT_EQ(file.OpenY4M(dir.File("none.y4m"), why), YUVReader::READ_ERROR_FILE);
    EXPECT_EQ(file.OpenY4M(rawPath, why), YUVReader::READ_ERROR_HEADER);
    EXPECT_EQ(file.FrameCount(), 0);
    EXPECT_FALSE(YUVFrameFile::IsY4MFile(dir.Path()));
    EXPECT_FALSE(YUVFrameFile::IsY4MFile(dir.File("none.y4m")));
}

} // namespace
