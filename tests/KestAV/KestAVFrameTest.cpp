#include "KestAV/KestAVDecoder.h"
#include "KestAV/KestAVFrame.h"
#include "KestAV/KestAVReader.h"
#include "KestAV/KestAVTool.h"

#include "TestMedia.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/mem.h>
}

using namespace Kest;

// Under AddressSanitizer a refused allocation must come back as null, as it
// does from the C library, instead of stopping the test.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

using Bytes = std::vector<unsigned char>;

// Decodes the first frame of the file's first stream into frame.
bool DecodeFirst(const std::string& path, KestAVFrame& frame)
{
    KestAVReader reader(KestString(path.c_str()));
    KestAVStream stream;
    KestAVDecoder decoder;
    if (reader.Open() != 0 || reader.GetStream(stream, 0) != 0 || decoder.InitHW(&stream) != 0) {
        return false;
    }
    for (;;) {
        KestAVPacket packet;
        const bool more = reader.Read(&packet) == 0;
        decoder.SendPacket(more ? &packet : nullptr);
        if (decoder.RecvFrame(&frame) == 0) {
            return true;
        }
        if (!more) {
            return false;
        }
    }
}

// The plane as the copy method writes it; the method must not write past
// size bytes.
Bytes Plane(KestAVFrame& frame, int (KestAVFrame::*copy)(unsigned char*), int size)
{
    Bytes out(size + 1, 0xEE);
    EXPECT_EQ(0, (frame.*copy)(out.data()));
    EXPECT_EQ(0xEE, out[size]) << "wrote past the plane";
    out.pop_back();
    return out;
}

Bytes Filled(int size, unsigned char first)
{
    Bytes b(size);
    for (int i = 0; i < size; i++) {
        b[i] = static_cast<unsigned char>(first + i);
    }
    return b;
}

// Sets every pixel row of the plane to value.
void FillPlane(KestAVFrame& frame, int plane, int rowBytes, int rows, unsigned char value)
{
    for (int r = 0; r < rows; r++) {
        memset(frame.GetData(plane) + r * frame.GetLineSize(plane), value, rowBytes);
    }
}

void MakeUniform420(KestAVFrame& frame, int width, int height, unsigned char y, unsigned char u, unsigned char v)
{
    ASSERT_EQ(0, frame.SetNULLData(width, height, PIX_YUV420P));
    FillPlane(frame, 0, width, height, y);
    FillPlane(frame, 1, width / 2, height / 2, u);
    FillPlane(frame, 2, width / 2, height / 2, v);
}

} // namespace

TEST(KestAVFrame, StartsEmpty)
{
    KestAVFrame frame;
    EXPECT_EQ(0, frame.GetWidth());
    EXPECT_EQ(0, frame.GetHeight());
    EXPECT_EQ(PIX_UNKNOWN, frame.GetPixFormat());
    EXPECT_EQ(0, frame.IsLast());
    EXPECT_EQ(0, frame.GetInfo());
    EXPECT_EQ(0.0, frame.GetSecPTS());
}

TEST(KestAVFrame, LastFlagAndPts)
{
    KestAVFrame frame;
    EXPECT_EQ(0, frame.SetLast());
    EXPECT_EQ(1, frame.IsLast());
    EXPECT_EQ(0, frame.SetPTS(-42));
    EXPECT_EQ(-42, frame.GetPTS());
    EXPECT_EQ(0.0, frame.GetSecPTS());
}

TEST(KestAVFrame, SetVideoData420PCopiesThePlanes)
{
    Bytes y = Filled(8, 10);
    Bytes u = Filled(2, 50);
    Bytes v = Filled(2, 70);
    KestAVFrame frame;
    EXPECT_EQ(0, frame.SetVideoData420P(y.data(), u.data(), v.data(), 4, 2));
    y[0] = u[0] = v[0] = 0;

    EXPECT_EQ(4, frame.GetWidth());
    EXPECT_EQ(2, frame.GetHeight());
    EXPECT_EQ(PIX_YUV420P, frame.GetPixFormat());
    EXPECT_EQ(4, frame.GetLineSize(0));
    EXPECT_EQ(2, frame.GetLineSize(1));
    EXPECT_EQ(2, frame.GetLineSize(2));
    Bytes expectY = Filled(8, 10);
    EXPECT_EQ(0, memcmp(expectY.data(), frame.GetData(0), 8));

    EXPECT_EQ(Bytes({10, 11, 12, 13, 14, 15, 16, 17}), Plane(frame, &KestAVFrame::GetYData, 8));
    EXPECT_EQ(Bytes({50, 51}), Plane(frame, &KestAVFrame::GetUData, 2));
    EXPECT_EQ(Bytes({70, 71}), Plane(frame, &KestAVFrame::GetVData, 2));
}

TEST(KestAVFrame, SetVideoData420POddSizeRoundsDown)
{
    // 5 x 3: chroma buffers of 15 / 4 = 3 bytes, strides 2, one chroma row.
    Bytes y = Filled(15, 1);
    Bytes u = Filled(3, 100);
    Bytes v = Filled(3, 200);
    KestAVFrame frame;
    ASSERT_EQ(0, frame.SetVideoData420P(y.data(), u.data(), v.data(), 5, 3));
    EXPECT_EQ(2, frame.GetLineSize(1));
    EXPECT_EQ(0, memcmp(u.data(), frame.GetData(1), 3));
    EXPECT_EQ(0, memcmp(v.data(), frame.GetData(2), 3));
    EXPECT_EQ(Bytes({100, 101}), Plane(frame, &KestAVFrame::GetUData, 2));
    EXPECT_EQ(Bytes({200, 201}), Plane(frame, &KestAVFrame::GetVData, 2));
}

TEST(KestAVFrame, SetVideoData420PReplacesDecodedData)
{
    KestAVFrame frame;
    MakeUniform420(frame, 16, 16, 1, 2, 3);
    Bytes y = Filled(8, 0);
    Bytes c = Filled(2, 0);
    ASSERT_EQ(0, frame.SetVideoData420P(y.data(), c.data(), c.data(), 4, 2));
    EXPECT_EQ(4, frame.GetWidth());
    EXPECT_EQ(4, frame.GetLineSize(0));
}

TEST(KestAVFrame, SetVideoData420PThatCannotAllocateFailsAndKeepsTheFrame)
{
    KestAVFrame frame;
    MakeUniform420(frame, 16, 16, 1, 2, 3);
    const unsigned char* before = frame.GetData(0);
    // The luma plane alone would be 2^62 bytes: more than any allocator can
    // give. In int arithmetic the product wraps to 1 byte and "succeeds".
    Bytes small = Filled(8, 0);
    const int huge = std::numeric_limits<int>::max();
    EXPECT_EQ(-1, frame.SetVideoData420P(small.data(), small.data(), small.data(), huge, huge));
    EXPECT_EQ(16, frame.GetWidth());
    EXPECT_EQ(16, frame.GetHeight());
    EXPECT_EQ(before, frame.GetData(0));
    EXPECT_EQ(Bytes(256, 1), Plane(frame, &KestAVFrame::GetYData, 256));
}

TEST(KestAVFrame, SetVideoData420PRefusesMissingPlanesAndEmptySizes)
{
    Bytes y = Filled(8, 10);
    Bytes c = Filled(2, 50);
    KestAVFrame frame;
    EXPECT_EQ(-1, frame.SetVideoData420P(nullptr, c.data(), c.data(), 4, 2));
    EXPECT_EQ(-1, frame.SetVideoData420P(y.data(), nullptr, c.data(), 4, 2));
    EXPECT_EQ(-1, frame.SetVideoData420P(y.data(), c.data(), nullptr, 4, 2));
    EXPECT_EQ(-1, frame.SetVideoData420P(y.data(), c.data(), c.data(), 0, 2));
    EXPECT_EQ(-1, frame.SetVideoData420P(y.data(), c.data(), c.data(), 4, -2));
    EXPECT_EQ(nullptr, frame.GetData(0));
}

TEST(KestAVFrame, SetVideoData420PKeepsAnEmptyChromaPlane)
{
    // 1 x 3: 3 / 4 = 0 bytes of chroma, still a frame of its own.
    Bytes y = Filled(3, 7);
    Bytes c = Filled(1, 0);
    KestAVFrame frame;
    ASSERT_EQ(0, frame.SetVideoData420P(y.data(), c.data(), c.data(), 1, 3));
    EXPECT_EQ(Bytes({7, 8, 9}), Plane(frame, &KestAVFrame::GetYData, 3));
    EXPECT_NE(nullptr, frame.GetData(1));
}

TEST(KestAVFrame, SetNULLDataAllocatesEachFormat)
{
    for (KestAVPixelFormat format : {PIX_YUV420P, PIX_NV12, PIX_NV21, PIX_YUV422P, PIX_YUYV422, PIX_YUV444P,
                                     PIX_YUVJ420P, PIX_RGBA, PIX_RGB8}) {
        KestAVFrame frame;
        ASSERT_EQ(0, frame.SetNULLData(6, 4, format)) << format;
        EXPECT_EQ(6, frame.GetWidth());
        EXPECT_EQ(4, frame.GetHeight());
        EXPECT_NE(nullptr, frame.GetData(0));
        EXPECT_GE(frame.GetLineSize(0), 6);
        if (format != PIX_RGB8) {
            EXPECT_EQ(format, frame.GetPixFormat());
        }
    }
}

TEST(KestAVFrame, SetNULLDataFailsWithoutAFormatOrSize)
{
    KestAVFrame frame;
    EXPECT_EQ(-1, frame.SetNULLData(6, 4, PIX_UNKNOWN));
    EXPECT_EQ(nullptr, frame.GetData(0));
    EXPECT_EQ(-1, frame.SetNULLData(0, 0, PIX_YUV420P));
    EXPECT_EQ(nullptr, frame.GetData(0));
}

TEST(KestAVFrame, ScalesPlanarToInterleavedChroma)
{
    Bytes y = Filled(32, 16);
    Bytes u = Filled(8, 60);
    Bytes v = Filled(8, 160);
    KestAVFrame src;
    ASSERT_EQ(0, src.SetVideoData420P(y.data(), u.data(), v.data(), 8, 4));
    KestAVFrame dst;
    ASSERT_EQ(0, src.Scale(dst, 8, 4, PIX_NV12));
    EXPECT_EQ(PIX_NV12, dst.GetPixFormat());

    KestYUVLen len;
    KestAVTool::GetYUVLen(dst, len);
    ASSERT_EQ(16, len.uvLen);
    EXPECT_EQ(y, Plane(dst, &KestAVFrame::GetYData, 32));
    const Bytes uv = Plane(dst, &KestAVFrame::GetUVData, 16);
    for (int i = 0; i < 8; i++) {
        EXPECT_EQ(u[i], uv[2 * i]) << i;
        EXPECT_EQ(v[i], uv[2 * i + 1]) << i;
    }
}

TEST(KestAVFrame, ScalesToRgba)
{
    KestAVFrame src;
    MakeUniform420(src, 8, 4, 128, 128, 128);
    KestAVFrame dst;
    ASSERT_EQ(0, src.Scale(dst, 4, 2, PIX_RGBA));
    EXPECT_EQ(4, dst.GetWidth());
    EXPECT_EQ(2, dst.GetHeight());
    Bytes rgba(4 * 4 * 2 + 1, 0xEE);
    EXPECT_EQ(0, dst.GetRGBAData(rgba.data()));
    for (int p = 0; p < 8; p++) {
        EXPECT_NEAR(130, rgba[4 * p], 2) << p;
        EXPECT_EQ(rgba[4 * p], rgba[4 * p + 1]);
        EXPECT_EQ(rgba[4 * p], rgba[4 * p + 2]);
        EXPECT_EQ(255, rgba[4 * p + 3]);
    }
    EXPECT_EQ(0xEE, rgba[32]);
}

TEST(KestAVFrame, ScalesToWiderChromaFormats)
{
    KestAVFrame src;
    MakeUniform420(src, 8, 4, 90, 40, 200);
    KestAVFrame d422;
    ASSERT_EQ(0, src.Scale(d422, 8, 4, PIX_YUV422P));
    EXPECT_EQ(Bytes(16, 40), Plane(d422, &KestAVFrame::GetUData, 16));
    KestAVFrame d444;
    ASSERT_EQ(0, src.Scale(d444, 8, 4, PIX_YUV444P));
    EXPECT_EQ(Bytes(32, 200), Plane(d444, &KestAVFrame::GetVData, 32));
}

TEST(KestAVFrame, ScaleFailsWithoutAConverter)
{
    KestAVFrame src;
    MakeUniform420(src, 8, 4, 90, 40, 200);
    KestAVFrame dst;
    EXPECT_EQ(-1, src.Scale(dst, 8, 4, PIX_UNKNOWN));
    EXPECT_EQ(-1, src.Scale(dst, 0, 0, PIX_YUV420P));
    KestAVFrame empty;
    EXPECT_EQ(-1, empty.Scale(dst, 8, 4, PIX_YUV420P));
}

TEST(KestAVFrame, ScaleStopsWhenTheDestinationCannotBeAllocated)
{
    KestAVFrame src;
    MakeUniform420(src, 8, 4, 90, 40, 200);
    KestAVFrame dst;
    // With FFmpeg's allocations capped at 256 KiB the converter can still be
    // made, but not the 1 MiB picture: the conversion must not run into the
    // missing planes.
    av_max_alloc(256 * 1024);
    const int result = src.Scale(dst, 512, 512, PIX_RGBA);
    av_max_alloc(std::numeric_limits<int>::max());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(nullptr, dst.GetData(0));
}

TEST(KestAVFrame, CopyReferencesTheSourcePicture)
{
    KestAVFrame src;
    MakeUniform420(src, 8, 4, 90, 40, 200);
    src.SetPTS(7);
    KestAVFrame copy(src);
    EXPECT_EQ(8, copy.GetWidth());
    EXPECT_EQ(4, copy.GetHeight());
    EXPECT_EQ(PIX_YUV420P, copy.GetPixFormat());
    EXPECT_EQ(7, copy.GetPTS());
    EXPECT_EQ(src.GetData(0), copy.GetData(0));
}

TEST(KestAVFrame, CopyOfUncountedDataOwnsACopy)
{
    Bytes y = Filled(8, 10);
    Bytes c = Filled(2, 50);
    KestAVFrame src;
    ASSERT_EQ(0, src.SetVideoData420P(y.data(), c.data(), c.data(), 4, 2));
    KestAVFrame copy(src);
    EXPECT_NE(src.GetData(0), copy.GetData(0));
    EXPECT_EQ(y, Plane(copy, &KestAVFrame::GetYData, 8));
}

TEST(KestAVFrame, CopyOfAnEmptyFrameIsEmpty)
{
    KestAVFrame empty;
    KestAVFrame copy(empty);
    EXPECT_EQ(0, copy.GetWidth());
    EXPECT_EQ(PIX_UNKNOWN, copy.GetPixFormat());
}

TEST(KestAVFrame, AssignmentCopiesIntoSharedBuffersBeforeReferencing)
{
    KestAVFrame a;
    MakeUniform420(a, 8, 4, 1, 1, 1);
    KestAVFrame b(a);
    KestAVFrame d;
    MakeUniform420(d, 8, 4, 9, 9, 9);
    b = d;
    EXPECT_EQ(d.GetData(0), b.GetData(0));
    // b shared a's buffers when the copy ran.
    EXPECT_EQ(9, a.GetData(0)[0]);

    b = b;
    EXPECT_EQ(d.GetData(0), b.GetData(0));
}

TEST(KestAVFrame, AssignmentOverADifferentPictureReplacesIt)
{
    KestAVFrame big;
    MakeUniform420(big, 16, 16, 3, 3, 3);
    KestAVFrame small;
    MakeUniform420(small, 8, 4, 5, 5, 5);
    big = small;
    EXPECT_EQ(8, big.GetWidth());
    EXPECT_EQ(5, big.GetData(0)[0]);
}

TEST(KestAVFrame, InitAACFrameMakesPlanarFloatSamples)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.InitAACFrame(2));
    EXPECT_EQ(2, frame.GetChannels());
    EXPECT_EQ(1024, frame.GetNBSamples());
    EXPECT_EQ(4, frame.GetPerSampleSize());
    EXPECT_EQ(0, frame.GetSampleRate());
    EXPECT_EQ(0, frame.SetAudioFloatData(1, 1023, 0.25f));
    EXPECT_EQ(0.25f, frame.GetAudioFloatData(1, 1023));
}

TEST(KestAVFrame, AudioSampleAccessIsBounded)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.InitAACFrame(1));
    frame.SetAudioFloatData(0, 0, 0.5f);
    EXPECT_EQ(0, frame.SetAudioFloatData(1, 0, 0.75f));
    EXPECT_EQ(0, frame.SetAudioFloatData(0, 1024, 0.75f));
    EXPECT_EQ(0.0f, frame.GetAudioFloatData(1, 0));
    EXPECT_EQ(0.0f, frame.GetAudioFloatData(0, 1024));
    EXPECT_EQ(0.5f, frame.GetAudioFloatData(0, 0));
}

TEST(KestAVFrame, InitAACFrameCapsChannelsAtEight)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.InitAACFrame(12));
    EXPECT_EQ(8, frame.GetChannels());
    frame.SetAudioFloatData(7, 5, -1.0f);
    EXPECT_EQ(-1.0f, frame.GetAudioFloatData(7, 5));
    EXPECT_EQ(0.0f, frame.GetAudioFloatData(8, 5));
}

TEST(KestAVFrame, InitAACFrameWithoutChannelsFails)
{
    KestAVFrame frame;
    EXPECT_EQ(-1, frame.InitAACFrame(0));
    EXPECT_EQ(0.0f, frame.GetAudioFloatData(0, 0));
}

TEST(KestAVFrame, InitAACFrameReplacesAPicture)
{
    KestAVFrame frame;
    MakeUniform420(frame, 8, 4, 1, 1, 1);
    ASSERT_EQ(0, frame.InitAACFrame(2));
    EXPECT_EQ(0, frame.GetWidth());
    EXPECT_EQ(2, frame.GetChannels());
}

TEST(KestAVFrame, PackedAudioSizeWithNullDestination)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.InitAACFrame(2));
    EXPECT_EQ(4 * 1024 * 2, frame.GetAudioPackedData(nullptr));
}

TEST(KestAVFrame, PackedAudioNeedsASampleRateForPlanarInput)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.InitAACFrame(2));
    Bytes out(4 * 1024 * 2, 0xEE);
    EXPECT_EQ(-1, frame.GetAudioPackedData(out.data()));
    EXPECT_EQ(Bytes(out.size(), 0xEE), out);
}

TEST(KestAVFrame, PlanarFloatAudioPacksToSigned32)
{
    kestav_test::TestMedia media;
    const std::string path = media.Aac();
    ASSERT_FALSE(path.empty());
    KestAVFrame frame;
    ASSERT_TRUE(DecodeFirst(path, frame));
    ASSERT_EQ(1, frame.GetChannels());
    EXPECT_EQ(8000, frame.GetSampleRate());
    const int samples = frame.GetNBSamples();
    ASSERT_EQ(1024, samples);
    const int size = frame.GetAudioPackedData(nullptr);
    ASSERT_EQ(4 * samples, size);
    std::vector<int32_t> out(samples);
    ASSERT_EQ(0, frame.GetAudioPackedData(reinterpret_cast<unsigned char*>(out.data())));
    bool sound = false;
    for (int i = 0; i < samples; i++) {
        const double expected = std::llrint(static_cast<double>(frame.GetAudioFloatData(0, i)) * 2147483648.0);
        EXPECT_NEAR(expected, out[i], 1.0) << i;
        sound = sound || out[i] != 0;
    }
    EXPECT_TRUE(sound);
}

TEST(KestAVFrame, PlanarShortAudioWritesTwiceTheReportedSize)
{
    // The size counts the input's 2-byte samples; the output is 4-byte.
    kestav_test::TestMedia media;
    const std::string path = media.Make("planar.nut", {"-f", "lavfi", "-i", "sine=sample_rate=8000", "-t", "0.2",
                                                       "-ac", "2", "-c:a", "pcm_s16le_planar"});
    ASSERT_FALSE(path.empty());
    KestAVFrame frame;
    ASSERT_TRUE(DecodeFirst(path, frame));
    ASSERT_EQ(2, frame.GetChannels());
    ASSERT_EQ(2, frame.GetPerSampleSize());
    const int samples = frame.GetNBSamples();
    const int size = frame.GetAudioPackedData(nullptr);
    ASSERT_EQ(2 * samples * 2, size);
    std::vector<int32_t> out(samples * 2 + 1, 0x5A5A5A5A);
    ASSERT_EQ(0, frame.GetAudioPackedData(reinterpret_cast<unsigned char*>(out.data())));
    const int16_t* left = reinterpret_cast<const int16_t*>(frame.GetData(0));
    const int16_t* right = reinterpret_cast<const int16_t*>(frame.GetData(1));
    bool sound = false;
    for (int i = 0; i < samples; i++) {
        EXPECT_EQ(left[i] * 65536, out[2 * i]) << i;
        EXPECT_EQ(right[i] * 65536, out[2 * i + 1]) << i;
        sound = sound || left[i] != 0;
    }
    EXPECT_TRUE(sound);
    EXPECT_EQ(0x5A5A5A5A, out[samples * 2]);
}

TEST(KestAVFrame, PackedAudioIsCopiedAsItIs)
{
    kestav_test::TestMedia media;
    const std::string path = media.Make("packed.wav", {"-f", "lavfi", "-i", "sine=sample_rate=8000", "-t", "0.2",
                                                       "-c:a", "pcm_s16le"});
    ASSERT_FALSE(path.empty());
    KestAVFrame frame;
    ASSERT_TRUE(DecodeFirst(path, frame));
    const int size = frame.GetAudioPackedData(nullptr);
    ASSERT_EQ(2 * frame.GetNBSamples(), size);
    Bytes out(size + 1, 0xEE);
    ASSERT_EQ(0, frame.GetAudioPackedData(out.data()));
    EXPECT_EQ(0, memcmp(frame.GetData(0), out.data(), size));
    EXPECT_EQ(0xEE, out[size]);
}

TEST(KestAVFrame, DecodedPictureGeometry)
{
    kestav_test::TestMedia media;
    const std::string path = media.Ffv1("yuv422p", "p422.mkv");
    ASSERT_FALSE(path.empty());
    KestAVFrame frame;
    ASSERT_TRUE(DecodeFirst(path, frame));
    EXPECT_EQ(32, frame.GetWidth());
    EXPECT_EQ(PIX_YUV422P, frame.GetPixFormat());
    KestYUVLen len;
    KestAVTool::GetYUVLen(frame, len);
    EXPECT_EQ(16 * 32, len.uLen);
}
