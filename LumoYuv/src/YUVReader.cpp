#include "lumo/YUVReader.h"

#include "Frame420.h"
#include "FrameDecoder.h"
#include "FrameFile.h"
#include "Kernels.h"
#include "Layout.h"
#include "MallocPtr.h"
#include "Ssim.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace lumo {

namespace {

enum class Output { Yuv444, Rgb24, I420 };

void SetStatus(int* status, int value)
{
    if (status != nullptr) {
        *status = value;
    }
}

bool Describe(const YUVType& type, int width, int height, const Layout*& layout, FrameGeometry& geo)
{
    layout = FindLayout(type);
    return layout != nullptr && ComputeGeometry(*layout, width, height, geo);
}

bool ValidSize(int width, int height)
{
    return width >= 1 && height >= 1 && width <= YUVReader::MAX_DIMENSION &&
           height <= YUVReader::MAX_DIMENSION;
}

// One stored frame into I420 at out: straight from the file when it already
// is I420, else through a copy of the stored frame.
int ReadI420(const Layout& layout, const FrameGeometry& geo, const FrameFile& file, int64_t at,
             unsigned char* out)
{
    if (StoredAsI420(layout)) {
        return file.ReadAt(out, static_cast<size_t>(geo.frameBytes), at)
                   ? YUVReader::READ_OK
                   : YUVReader::READ_ERROR_FILE;
    }
    // The stored frame, then the converter's scratch (both malloc-aligned:
    // the frame's length is even for 16-bit layouts).
    const int64_t scratchBytes = I420ScratchBytes(layout, geo);
    MallocPtr<uint8_t> raw(
        static_cast<uint8_t*>(std::malloc(static_cast<size_t>(geo.frameBytes + scratchBytes))));
    if (!raw) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    if (!file.ReadAt(raw.get(), static_cast<size_t>(geo.frameBytes), at)) {
        return YUVReader::READ_ERROR_FILE;
    }
    ConvertToI420(layout, geo, raw.get(), out, raw.get() + geo.frameBytes);
    return YUVReader::READ_OK;
}

unsigned char* ReadFrame(const YUVReader& reader, Output output, unsigned char* buf, int* status,
                         long offset)
{
    const Layout* layout = nullptr;
    FrameGeometry geo;
    if (!Describe(reader.type, reader.width, reader.height, layout, geo)) {
        SetStatus(status, YUVReader::READ_ERROR_FORMAT);
        return nullptr;
    }
    FrameFile file(reader.path);
    if (!file.IsOpen()) {
        SetStatus(status, YUVReader::READ_ERROR_FILE);
        return nullptr;
    }
    const int64_t len = geo.frameBytes;
    const int64_t at = offset;
    // Nothing is allocated until the file is known to hold the whole frame.
    if (at < 0 || at % len != 0 || file.Size() < len || at > file.Size() - len) {
        SetStatus(status, YUVReader::READ_ERROR_OFFSET);
        return nullptr;
    }
    const size_t plane = static_cast<size_t>(geo.width) * static_cast<size_t>(geo.height);
    const size_t bytes = output == Output::I420 ? plane * 3 / 2 : 3 * plane;
    unsigned char* out = buf != nullptr ? buf : static_cast<unsigned char*>(std::malloc(bytes));
    if (out == nullptr) {
        SetStatus(status, YUVReader::READ_ERROR_MEMORY);
        return nullptr;
    }
    int result = YUVReader::READ_OK;
    if (output == Output::I420) {
        const size_t used = static_cast<size_t>(I420Bytes(geo));
        result = ReadI420(*layout, geo, file, at, out);
        if (buf == nullptr && result == YUVReader::READ_OK) {
            std::memset(out + used, 0, bytes - used);
        }
    } else {
        const FrameDecoder decoder(*layout, geo, file, at);
        result = output == Output::Yuv444 ? decoder.DecodeYuv444(out) : decoder.DecodeRgb24(out);
    }
    if (result != YUVReader::READ_OK) {
        if (out != buf) {
            std::free(out);
        }
        SetStatus(status, result);
        return nullptr;
    }
    SetStatus(status, YUVReader::READ_OK);
    return out;
}

double Psnr(double mse)
{
    if (mse == 0.0) {
        return std::numeric_limits<double>::infinity();
    }
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

} // namespace

YUVReader::YUVReader() : width(0), height(0) {}

YUVReader::YUVReader(const std::string& path, int width, int height, const YUVType& type)
    : path(path), width(width), height(height), type(type)
{
}

int64_t YUVReader::GetFrameLen() const
{
    const Layout* layout = nullptr;
    FrameGeometry geo;
    return Describe(type, width, height, layout, geo) ? geo.frameBytes : 0;
}

int YUVReader::GetFrameCount() const
{
    const int64_t len = GetFrameLen();
    if (len == 0) {
        return 0;
    }
    const FrameFile file(path);
    if (!file.IsOpen()) {
        return 0;
    }
    return static_cast<int>(std::min<int64_t>(file.Size() / len, INT_MAX));
}

unsigned char* YUVReader::ReadFrameYUV444(unsigned char* buf, int* status, long offset) const
{
    return ReadFrame(*this, Output::Yuv444, buf, status, offset);
}

unsigned char* YUVReader::ReadFrameRGB24(unsigned char* buf, int* status, long offset) const
{
    return ReadFrame(*this, Output::Rgb24, buf, status, offset);
}

unsigned char* YUVReader::ReadFrameYUV420(unsigned char* buf, int* status, long offset) const
{
    return ReadFrame(*this, Output::I420, buf, status, offset);
}

unsigned char* YUVReader::Frame444To420(unsigned char* src, unsigned char* dst, int width,
                                        int height) const
{
    if (src != nullptr && src == dst) {
        return nullptr;
    }
    if (src == nullptr || !ValidSize(width, height)) {
        std::free(dst);
        return nullptr;
    }
    const size_t w = static_cast<size_t>(width);
    const size_t plane = w * static_cast<size_t>(height);
    const int cw = width / 2;
    const int ch = height / 2;
    const size_t chroma = static_cast<size_t>(cw) * static_cast<size_t>(ch);
    // w*h*3/2 is what callers expect; for odd sizes it exceeds the planes.
    const size_t bytes = plane * 3 / 2;
    auto* out = static_cast<unsigned char*>(std::realloc(dst, bytes));
    if (out == nullptr) {
        std::free(dst);
        return nullptr;
    }
    // Both chroma planes in one pass over their row pairs, each pair
    // followed by the luma rows it covers, so the three source streams move
    // together.
    const unsigned char* inU = src + plane;
    const unsigned char* inV = src + 2 * plane;
    unsigned char* toU = out + plane;
    unsigned char* toV = toU + chroma;
    for (int j = 0; j < ch; ++j) {
        const size_t row = 2 * static_cast<size_t>(j) * w;
        const size_t at = static_cast<size_t>(j) * cw;
        kernels::HalveRows(inU + row, inU + row + w, toU + at, cw);
        kernels::HalveRows(inV + row, inV + row + w, toV + at, cw);
        std::memcpy(out + row, src + row, 2 * w);
    }
    // An odd last luma row has no chroma row of its own.
    const size_t done = 2 * static_cast<size_t>(ch) * w;
    std::memcpy(out + done, src + done, plane - done);
    // Odd sizes leave a few bytes past the planes; zero them so the whole
    // buffer is defined.
    std::memset(out + plane + 2 * chroma, 0, bytes - plane - 2 * chroma);
    return out;
}

void YUVReader::CallPSNR(double* psnr, unsigned char* a, unsigned char* b, int width, int height,
                         double* mse) const
{
    if (a == nullptr || b == nullptr || !ValidSize(width, height)) {
        return;
    }
    const size_t plane = static_cast<size_t>(width) * static_cast<size_t>(height);
    const size_t chroma = static_cast<size_t>(width / 2) * static_cast<size_t>(height / 2);
    const size_t starts[3] = {0, plane, plane + chroma};
    const size_t counts[3] = {plane, chroma, chroma};
    for (int p = 0; p < 3; ++p) {
        const uint64_t sse = kernels::SumSquaredError(a + starts[p], b + starts[p], counts[p]);
        const double m = counts[p] == 0 ? 0.0 : static_cast<double>(sse) / counts[p];
        if (mse != nullptr) {
            mse[p] = m;
        }
        if (psnr != nullptr) {
            psnr[p] = Psnr(m);
        }
    }
}

double YUVReader::CallSsimIqa(unsigned char* a, unsigned char* b, int width, int height,
                              COLOR_SPACE cs) const
{
    if (a == nullptr || b == nullptr || !ValidSize(width, height)) {
        return std::nan("");
    }
    const bool video = cs == COLOR_SPACE_VIDEO_RANGE;
    return PlaneSsim(a, b, width, height, video ? 16 : 0, video ? 235 : 255);
}

void YUVReader::CallSsimPlanes(double* ssim, unsigned char* a, unsigned char* b, int width,
                               int height, COLOR_SPACE cs) const
{
    if (ssim == nullptr) {
        return;
    }
    const double nan = std::nan("");
    if (a == nullptr || b == nullptr || !ValidSize(width, height)) {
        ssim[0] = ssim[1] = ssim[2] = nan;
        return;
    }
    const bool video = cs == COLOR_SPACE_VIDEO_RANGE;
    ssim[0] = PlaneSsim(a, b, width, height, video ? 16 : 0, video ? 235 : 255);
    const int cw = width / 2;
    const int ch = height / 2;
    const size_t plane = static_cast<size_t>(width) * static_cast<size_t>(height);
    const size_t chroma = static_cast<size_t>(cw) * static_cast<size_t>(ch);
    for (int p = 1; p <= 2; ++p) {
        const size_t at = plane + (p - 1) * chroma;
        ssim[p] = chroma == 0 ? nan
                              : PlaneSsim(a + at, b + at, cw, ch, video ? 16 : 0, video ? 240 : 255);
    }
}

} // namespace lumo
