// ReadFrameYUV420: the same bytes as the 4:4:4 read followed by
// Frame444To420, for every layout and awkward sizes.

#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

size_t I420Len(int w, int h)
{
    return static_cast<size_t>(w) * h + 2 * static_cast<size_t>(w / 2) * (h / 2);
}

class Reader420Test : public ::testing::TestWithParam<LayoutDef> {
protected:
    lumo::YUVType Type() const
    {
        return lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(GetParam().id);
    }

    lumo_test::TempDir dir;
    std::mt19937 rng{131};
};

TEST_P(Reader420Test, EqualsThe444ReadHalved)
{
    const LayoutDef& d = GetParam();
    for (auto [w, h] : {std::pair{1, 1}, {2, 2}, {1, 6}, {6, 1}, {3, 3}, {7, 5}, {6, 7}, {64, 36},
                        {37, 19}, {130, 67}}) {
        const std::string path = dir.File("f.yuv");
        const YUVReader reader(path, w, h, Type());
        if (reader.GetFrameLen() == 0) {
            continue; // packed 4:2:2 with an odd width
        }
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Bytes file;
        for (int f = 0; f < 3; ++f) {
            const Bytes frame = WriteFrame(d, RandomPicture(d, w, h, rng));
            file.insert(file.end(), frame.begin(), frame.end());
        }
        WriteFile(path, file);
        for (int f = 0; f < 3; ++f) {
            int status = 0;
            const long offset = static_cast<long>(f * reader.GetFrameLen());
            LibBuffer full(reader.ReadFrameYUV444(nullptr, &status, offset));
            ASSERT_NE(full, nullptr);
            LibBuffer halved(reader.Frame444To420(full.get(), nullptr, w, h));
            status = 0;
            LibBuffer direct(reader.ReadFrameYUV420(nullptr, &status, offset));
            ASSERT_NE(direct, nullptr);
            EXPECT_EQ(status, YUVReader::READ_OK);
            // The whole w*h*3/2 buffer, zeroed tail included.
            const size_t bytes = static_cast<size_t>(w) * h * 3 / 2;
            EXPECT_EQ(Bytes(direct.get(), direct.get() + bytes), Bytes(halved.get(), halved.get() + bytes))
                << "frame " << f;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, Reader420Test, ::testing::ValuesIn(Layouts()),
                         [](const ::testing::TestParamInfo<LayoutDef>& info) { return info.param.id; });

TEST(ReadFrameYUV420Test, I420IsTheFileItself)
{
    lumo_test::TempDir dir;
    std::mt19937 rng(3);
    const Bytes frame = RandomBytes(I420Len(33, 17), rng);
    WriteFile(dir.File("i.yuv"), frame);
    const YUVReader reader(dir.File("i.yuv"), 33, 17, lumo::YUVType::YUV_TYPE_I420);
    int status = 0;
    LibBuffer out(reader.ReadFrameYUV420(nullptr, &status, 0));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(Bytes(out.get(), out.get() + frame.size()), frame);
}

TEST(ReadFrameYUV420Test, CallerBufferIsFilledAndReturned)
{
    lumo_test::TempDir dir;
    std::mt19937 rng(4);
    const lumo::YUVType nv12 = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("NV12");
    const YUVReader reader(dir.File("n.yuv"), 16, 8, nv12);
    WriteFile(reader.path, RandomBytes(static_cast<size_t>(reader.GetFrameLen()), rng));
    int status = 0;
    LibBuffer expected(reader.ReadFrameYUV420(nullptr, &status, 0));
    ASSERT_NE(expected, nullptr);
    // Exactly the planes' bytes, with a guard after them.
    Bytes buf(I420Len(16, 8) + 8, 0xee);
    status = 0;
    EXPECT_EQ(reader.ReadFrameYUV420(buf.data(), &status, 0), buf.data());
    EXPECT_EQ(status, YUVReader::READ_OK);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + static_cast<long>(I420Len(16, 8))),
              Bytes(expected.get(), expected.get() + I420Len(16, 8)));
    EXPECT_EQ(buf.back(), 0xee);
}

TEST(ReadFrameYUV420Test, FailuresReportTheirStatusAndReturnNull)
{
    lumo_test::TempDir dir;
    const YUVReader missing(dir.File("none.yuv"), 16, 8, lumo::YUVType::YUV_TYPE_I420);
    int status = 0;
    EXPECT_EQ(missing.ReadFrameYUV420(nullptr, &status, 0), nullptr);
    EXPECT_EQ(status, YUVReader::READ_ERROR_FILE);

    WriteFile(dir.File("one.yuv"), Bytes(I420Len(16, 8), 1));
    const YUVReader one(dir.File("one.yuv"), 16, 8, lumo::YUVType::YUV_TYPE_I420);
    for (long offset : {-1L, 5L, static_cast<long>(I420Len(16, 8))}) {
        status = 0;
        EXPECT_EQ(one.ReadFrameYUV420(nullptr, &status, offset), nullptr) << offset;
        EXPECT_EQ(status, YUVReader::READ_ERROR_OFFSET) << offset;
    }
    const YUVReader unknown(dir.File("one.yuv"), 16, 8, lumo::YUVType::YUV_TYPE_UNKNOW);
    status = 0;
    EXPECT_EQ(unknown.ReadFrameYUV420(nullptr, &status, 0), nullptr);
    EXPECT_EQ(status, YUVReader::READ_ERROR_FORMAT);
    // A null status is tolerated.
    EXPECT_NE(LibBuffer(one.ReadFrameYUV420(nullptr, nullptr, 0)), nullptr);
}

} // namespace
