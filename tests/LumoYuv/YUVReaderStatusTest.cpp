// Every way a read can fail, and what a failure looks like.

#include "TestFifo.h"
#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

using namespace lumo_yuv_test;
using lumo::YUVReader;
using lumo::YUVType;

// Under AddressSanitizer and ThreadSanitizer a refused allocation must come
// back as null, as it does from the C library, instead of stopping the test.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

YUVType TypeOf(const std::string& id)
{
    return lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(id);
}

class ReaderStatusTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.File("clip.yuv");
        reader = YUVReader(path, 6, 4, YUVType::YUV_TYPE_I420);
        WriteFile(path, RandomBytes(static_cast<size_t>(2 * reader.GetFrameLen()), rng));
    }

    // Both read calls, with the status they report; results are freed.
    void ExpectBoth(const YUVReader& r, long offset, int expected, const char* what)
    {
        int status = 0;
        LibBuffer yuv(r.ReadFrameYUV444(nullptr, &status, offset));
        EXPECT_EQ(yuv, nullptr) << what;
        EXPECT_EQ(status, expected) << what;
        status = 0;
        LibBuffer rgb(r.ReadFrameRGB24(nullptr, &status, offset));
        EXPECT_EQ(rgb, nullptr) << what;
        EXPECT_EQ(status, expected) << what;
    }

    lumo_test::TempDir dir;
    std::mt19937 rng{99};
    std::string path;
    YUVReader reader;
};

TEST_F(ReaderStatusTest, StatusValuesAreDistinctAndNegative)
{
    const int failures[] = {YUVReader::READ_ERROR_FILE, YUVReader::READ_ERROR_OFFSET,
                            YUVReader::READ_ERROR_FORMAT, YUVReader::READ_ERROR_MEMORY};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_LT(failures[i], 0);
        for (size_t j = i + 1; j < 4; ++j) {
            EXPECT_NE(failures[i], failures[j]);
        }
    }
    EXPECT_EQ(YUVReader::READ_OK, 1);
}

TEST_F(ReaderStatusTest, GoodFramesReadWithStatusOne)
{
    ASSERT_EQ(reader.GetFrameCount(), 2);
    for (int f = 0; f < 2; ++f) {
        int status = 0;
        LibBuffer yuv(reader.ReadFrameYUV444(nullptr, &status, f * reader.GetFrameLen()));
        EXPECT_NE(yuv, nullptr);
        EXPECT_EQ(status, YUVReader::READ_OK);
        status = 0;
        LibBuffer rgb(reader.ReadFrameRGB24(nullptr, &status, f * reader.GetFrameLen()));
        EXPECT_NE(rgb, nullptr);
        EXPECT_GE(status, 1); // the RGB caller accepts only >= 1
    }
}

TEST_F(ReaderStatusTest, MissingFile)
{
    const YUVReader missing(dir.File("nope.yuv"), 6, 4, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(missing.GetFrameCount(), 0);
    EXPECT_EQ(missing.GetFrameLen(), 36);
    ExpectBoth(missing, 0, YUVReader::READ_ERROR_FILE, "missing");
}

TEST_F(ReaderStatusTest, DirectoryIsNotAFile)
{
    const YUVReader folder(dir.Path(), 6, 4, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(folder.GetFrameCount(), 0);
    ExpectBoth(folder, 0, YUVReader::READ_ERROR_FILE, "directory");
}

TEST_F(ReaderStatusTest, FifoIsNotAFileAndNeverBlocks)
{
    lumo_test::TestFifo fifo(dir.File("pipe.yuv"));
    ASSERT_TRUE(fifo.Made());
    const YUVReader pipe(fifo.Path(), 6, 4, YUVType::YUV_TYPE_I420);
    int count = -1;
    EXPECT_TRUE(fifo.ReturnsWithin([&] { count = pipe.GetFrameCount(); }, std::chrono::seconds(5)));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(fifo.ReturnsWithin([&] { ExpectBoth(pipe, 0, YUVReader::READ_ERROR_FILE, "fifo"); },
                                   std::chrono::seconds(5)));
}

TEST_F(ReaderStatusTest, FileReplacedByAFifoBetweenReadsFailsWithoutBlocking)
{
    ASSERT_EQ(reader.GetFrameCount(), 2);
    std::filesystem::remove(path);
    lumo_test::TestFifo fifo(path);
    ASSERT_TRUE(fifo.Made());
    EXPECT_TRUE(fifo.ReturnsWithin([&] { ExpectBoth(reader, reader.GetFrameLen(), YUVReader::READ_ERROR_FILE, "fifo"); },
                                   std::chrono::seconds(5)));
}

TEST_F(ReaderStatusTest, EmptyPath)
{
    const YUVReader empty("", 6, 4, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(empty.GetFrameCount(), 0);
    ExpectBoth(empty, 0, YUVReader::READ_ERROR_FILE, "empty path");
}

TEST_F(ReaderStatusTest, FrameAtOrAfterCountIsRefused)
{
    const int64_t len = reader.GetFrameLen();
    const int count = reader.GetFrameCount();
    ASSERT_EQ(count, 2);
    for (int f = count; f < count + 3; ++f) {
        ExpectBoth(reader, static_cast<long>(f * len), YUVReader::READ_ERROR_OFFSET, "past end");
    }
}

TEST_F(ReaderStatusTest, NegativeOrMisalignedOffset)
{
    const long len = static_cast<long>(reader.GetFrameLen());
    for (long offset : {-1L, -len, -2 * len, 1L, len - 1, len + 1, len / 2}) {
        ExpectBoth(reader, offset, YUVReader::READ_ERROR_OFFSET, std::to_string(offset).c_str());
    }
}

TEST_F(ReaderStatusTest, UnknownLayout)
{
    const YUVReader unknown(path, 6, 4, YUVType::YUV_TYPE_UNKNOW);
    EXPECT_EQ(unknown.GetFrameLen(), 0);
    EXPECT_EQ(unknown.GetFrameCount(), 0);
    ExpectBoth(unknown, 0, YUVReader::READ_ERROR_FORMAT, "unknown");
    // A layout value whose index and id name disagree is not trusted.
    const YUVReader forged(path, 6, 4, YUVType(3, "I420", "I420"));
    EXPECT_EQ(forged.GetFrameLen(), 0);
    ExpectBoth(forged, 0, YUVReader::READ_ERROR_FORMAT, "forged");
    const YUVReader outside(path, 6, 4, YUVType(500, "X", "X"));
    ExpectBoth(outside, 0, YUVReader::READ_ERROR_FORMAT, "index out of range");
}

TEST_F(ReaderStatusTest, ImpossibleSizes)
{
    const int max = YUVReader::MAX_DIMENSION;
    const std::pair<int, int> sizes[] = {
        {0, 4},        {6, 0}, {-6, 4}, {6, -4}, {max + 1, 4}, {6, max + 1}, {INT32_MIN, INT32_MIN},
        {INT32_MAX, 2}};
    for (auto [w, h] : sizes) {
        const YUVReader bad(path, w, h, YUVType::YUV_TYPE_I420);
        EXPECT_EQ(bad.GetFrameLen(), 0) << w << "x" << h;
        EXPECT_EQ(bad.GetFrameCount(), 0) << w << "x" << h;
        ExpectBoth(bad, 0, YUVReader::READ_ERROR_FORMAT, "size");
    }
}

TEST_F(ReaderStatusTest, PackedNeedsEvenWidth)
{
    for (const char* id : {"YUYV", "UYVY", "YVYU"}) {
        const YUVReader odd(path, 5, 4, TypeOf(id));
        EXPECT_EQ(odd.GetFrameLen(), 0) << id;
        EXPECT_EQ(odd.GetFrameCount(), 0) << id;
        ExpectBoth(odd, 0, YUVReader::READ_ERROR_FORMAT, id);
        EXPECT_EQ(YUVReader(path, 6, 4, TypeOf(id)).GetFrameLen(), 48) << id;
    }
}

TEST_F(ReaderStatusTest, MissingFileWinsOverOffset)
{
    const YUVReader missing(dir.File("nope.yuv"), 6, 4, YUVType::YUV_TYPE_I420);
    ExpectBoth(missing, -1, YUVReader::READ_ERROR_FILE, "missing, bad offset");
}

TEST_F(ReaderStatusTest, NullStatusIsTolerated)
{
    LibBuffer good(reader.ReadFrameYUV444(nullptr, nullptr, 0));
    EXPECT_NE(good, nullptr);
    LibBuffer rgb(reader.ReadFrameRGB24(nullptr, nullptr, 0));
    EXPECT_NE(rgb, nullptr);
    EXPECT_EQ(reader.ReadFrameYUV444(nullptr, nullptr, -3), nullptr);
    const YUVReader missing(dir.File("nope.yuv"), 6, 4, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(missing.ReadFrameRGB24(nullptr, nullptr, 0), nullptr);
}

TEST_F(ReaderStatusTest, CallerBufferIsFilledAndReturned)
{
    LibBuffer fresh(reader.ReadFrameYUV444(nullptr, nullptr, 0));
    ASSERT_NE(fresh, nullptr);
    Bytes mine(3 * 6 * 4, 0xee);
    int status = 0;
    EXPECT_EQ(reader.ReadFrameYUV444(mine.data(), &status, 0), mine.data());
    EXPECT_EQ(status, YUVReader::READ_OK);
    EXPECT_EQ(Bytes(fresh.get(), fresh.get() + mine.size()), mine);
    // A failed read leaves the caller's buffer alone.
    Bytes untouched(3 * 6 * 4, 0x5a);
    EXPECT_EQ(reader.ReadFrameRGB24(untouched.data(), &status, 1), nullptr);
    EXPECT_EQ(status, YUVReader::READ_ERROR_OFFSET);
    EXPECT_EQ(untouched, Bytes(3 * 6 * 4, 0x5a));
}

TEST_F(ReaderStatusTest, DefaultReaderReadsNothing)
{
    const YUVReader nothing;
    EXPECT_EQ(nothing.width, 0);
    EXPECT_EQ(nothing.height, 0);
    EXPECT_EQ(nothing.type, YUVType::YUV_TYPE_UNKNOW);
    EXPECT_EQ(nothing.GetFrameLen(), 0);
    EXPECT_EQ(nothing.GetFrameCount(), 0);
    ExpectBoth(nothing, 0, YUVReader::READ_ERROR_FORMAT, "default");
}

TEST_F(ReaderStatusTest, ReadersAreValues)
{
    YUVReader copy(reader);
    YUVReader assigned;
    assigned = reader;
    copy.path = "elsewhere";
    EXPECT_EQ(reader.path, path);
    EXPECT_EQ(assigned.path, path);
    EXPECT_EQ(assigned.width, 6);
    EXPECT_EQ(assigned.height, 4);
    EXPECT_EQ(assigned.type, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(assigned.GetFrameCount(), 2);
}

// A huge size is checked against the file before anything is allocated:
// a 100000 x 100000 frame needs 15 GB of file, so the small file is short.
TEST_F(ReaderStatusTest, HugeSizeInSmallFileFailsWithoutAllocating)
{
    const YUVReader huge(path, 100000, 100000, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(huge.GetFrameLen(), int64_t(15000000000));
    EXPECT_EQ(huge.GetFrameCount(), 0);
    ExpectBoth(huge, 0, YUVReader::READ_ERROR_OFFSET, "huge");
    const int max = YUVReader::MAX_DIMENSION;
    const YUVReader largest(path, max, max, TypeOf("I444P10"));
    EXPECT_EQ(largest.GetFrameLen(), int64_t(6) * max * max);
    ExpectBoth(largest, 0, YUVReader::READ_ERROR_OFFSET, "largest");
}

// Offsets and counts past 32 bits: a sparse file of 1x1 GRAY frames.
TEST_F(ReaderStatusTest, LargeOffsetsAndCountsUse64Bits)
{
    const YUVReader tiny(dir.File("long.yuv"), 1, 1, TypeOf("GRAY"));
    {
        std::ofstream create(tiny.path, std::ios::binary);
    }
    const int64_t frames = int64_t(INT32_MAX) + 100;
    std::error_code error;
    std::filesystem::resize_file(tiny.path, static_cast<uintmax_t>(frames), error);
    if (error) {
        GTEST_SKIP() << "no sparse file here";
    }
    EXPECT_EQ(tiny.GetFrameCount(), INT32_MAX); // saturates
    int status = 0;
    LibBuffer last(tiny.ReadFrameYUV444(nullptr, &status, static_cast<long>(frames - 1)));
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(status, YUVReader::READ_OK);
    EXPECT_EQ(last.get()[0], 0);
    EXPECT_EQ(last.get()[1], 128);
    ExpectBoth(tiny, static_cast<long>(frames), YUVReader::READ_ERROR_OFFSET, "one past");
}

// A sparse file that does hold one enormous frame: the 3 TB result buffer
// cannot be had, which must come back as a status, not a crash.
TEST_F(ReaderStatusTest, UnallocatableResultReportsMemory)
{
    std::ifstream policy("/proc/sys/vm/overcommit_memory");
    int overcommit = -1;
    policy >> overcommit;
    if (overcommit == 1) {
        GTEST_SKIP() << "the kernel grants any allocation (vm.overcommit_memory = 1)";
    }
    const int max = YUVReader::MAX_DIMENSION;
    const YUVReader giant(dir.File("sparse.yuv"), max, max, TypeOf("GRAY"));
    std::error_code error;
    {
        std::ofstream create(giant.path, std::ios::binary);
    }
    std::filesystem::resize_file(giant.path, static_cast<uintmax_t>(giant.GetFrameLen()), error);
    if (error) {
        GTEST_SKIP() << "no sparse file of " << giant.GetFrameLen() << " bytes here";
    }
    ASSERT_EQ(giant.GetFrameCount(), 1);
    ExpectBoth(giant, 0, YUVReader::READ_ERROR_MEMORY, "giant");
}

} // namespace
