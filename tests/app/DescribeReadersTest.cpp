#include "analysis/DescribeReaders.h"

#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

namespace {

lumo::YUVReader Reader(const std::string& path, int width, int height)
{
    lumo::YUVReader reader;
    reader.path = path;
    reader.width = width;
    reader.height = height;
    lumo::YUVTypeInstance::GetInstance()->GetType(reader.type, 0);
    return reader;
}

TEST(DescribeReadersTest, NamesBothFilesWithSizeAndLayout)
{
    EXPECT_EQ("[read1 file=/a.yuv; size=352x288; type=I420 (YUV 4:2:0 planar)] + "
              "[read2 file=/b.yuv; size=352x288; type=I420 (YUV 4:2:0 planar)]",
              DescribeReaders(Reader("/a.yuv", 352, 288), Reader("/b.yuv", 352, 288)));
}

TEST(DescribeReadersTest, PlaceHolderLikeTextInAPathIsKept)
{
    EXPECT_EQ("[read1 file=/data/clip%2.yuv; size=352x288; type=I420 (YUV 4:2:0 planar)] + "
              "[read2 file=/data/%1%3.yuv; size=176x144; type=I420 (YUV 4:2:0 planar)]",
              DescribeReaders(Reader("/data/clip%2.yuv", 352, 288), Reader("/data/%1%3.yuv", 176, 144)));
}

TEST(DescribeReadersTest, AReaderWithoutAPathAddsNothing)
{
    EXPECT_EQ("", DescribeReaders(lumo::YUVReader(), lumo::YUVReader()));
    EXPECT_EQ(" + [read2 file=/b.yuv; size=2x2; type=I420 (YUV 4:2:0 planar)]",
              DescribeReaders(lumo::YUVReader(), Reader("/b.yuv", 2, 2)));
}

} // namespace
