#include "FrameDecoder.h"

#include "Kernels.h"
#include "MallocPtr.h"
#include "lumo/YUVReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace lumo {

namespace {

// Source bytes per band: small enough that a band stays in L2 between being
// read and being widened, large enough that the reads (three per band)
// cost little beside the copying.
constexpr int64_t kBandBytes = 512 * 1024;

constexpr uint8_t kNeutral = 128;

// RGB frames from this size on are written with streaming stores.
constexpr int64_t kStreamedRgbBytes = 16 << 20;

using Scratch = MallocPtr<uint8_t>;

Scratch Allocate(int64_t bytes)
{
    return Scratch(
        static_cast<uint8_t*>(std::malloc(static_cast<size_t>(std::max<int64_t>(bytes, 1)))));
}

} // namespace

FrameDecoder::FrameDecoder(const Layout& layout, const FrameGeometry& geometry,
                           const FrameFile& file, int64_t frameOffset)
    : layout(layout), geo(geometry), file(file), offset(frameOffset)
{
}

bool FrameDecoder::NeutralChroma() const
{
    return geo.NeutralChroma(layout);
}

int FrameDecoder::ChromaFirst(int row0) const
{
    return std::min(row0 >> layout.chromaShiftY, geo.chromaHeight - 1);
}

int FrameDecoder::ChromaEnd(int row0, int rows) const
{
    return std::min(((row0 + rows - 1) >> layout.chromaShiftY) + 1, geo.chromaHeight);
}

int FrameDecoder::BandRows() const
{
    const int64_t perRow = std::max<int64_t>(1, geo.frameBytes / geo.height);
    // Even, so a 4:2:0 chroma row never straddles two bands.
    const int64_t rows = std::max<int64_t>(2, (kBandBytes / perRow) & ~int64_t(1));
    return static_cast<int>(std::min<int64_t>(rows, geo.height));
}

int64_t FrameDecoder::RawScratchBytes(int bandRows) const
{
    const bool direct = layout.packing == Packing::Planar && layout.depth == SampleDepth::Bits8;
    if (direct || layout.packing == Packing::LumaOnly) {
        return 0;
    }
    return std::max(bandRows * geo.lumaRowBytes, bandRows * geo.chromaRowBytes);
}

bool FrameDecoder::ReadBand(int row0, int rows, uint8_t* y, uint8_t* u, uint8_t* v,
                            uint8_t* raw) const
{
    const int64_t w = geo.width;
    auto* raw16 = reinterpret_cast<uint16_t*>(raw);
    const int64_t lumaPos = offset + row0 * geo.lumaRowBytes;
    const int64_t lumaLen = rows * geo.lumaRowBytes;

    if (layout.packing == Packing::Packed422) {
        if (!file.ReadAt(raw, static_cast<size_t>(lumaLen), lumaPos)) {
            return false;
        }
        const int pairs = static_cast<int>(rows * w / 2);
        if (layout.packY0 == 0 && layout.packU == 1) {
            kernels::UnpackYUYV(raw, pairs, y, u, v);
        } else if (layout.packY0 == 1) {
            kernels::UnpackUYVY(raw, pairs, y, u, v);
        } else {
            kernels::UnpackYVYU(raw, pairs, y, u, v);
        }
        return true;
    }

    if (layout.depth == SampleDepth::Bits8) {
        if (!file.ReadAt(y, static_cast<size_t>(lumaLen), lumaPos)) {
            return false;
        }
    } else {
        if (!file.ReadAt(raw, static_cast<size_t>(lumaLen), lumaPos)) {
            return false;
        }
        const size_t n = static_cast<size_t>(rows * w);
        if (layout.depth == SampleDepth::Bits10Low) {
            kernels::NarrowLow10(raw16, n, y);
        } else {
            kernels::NarrowHigh10(raw16, n, y);
        }
    }
    if (NeutralChroma()) {
        return true;
    }

    const int cr0 = ChromaFirst(row0);
    const int crows = ChromaEnd(row0, rows) - cr0;
    const int64_t chromaBase = offset + geo.lumaBytes;
    const int64_t chromaLen = crows * geo.chromaRowBytes;
    const int64_t chromaSkip = cr0 * geo.chromaRowBytes;
    const int64_t samples = static_cast<int64_t>(crows) * geo.chromaWidth;

    if (layout.packing == Packing::SemiPlanar) {
        if (!file.ReadAt(raw, static_cast<size_t>(chromaLen), chromaBase + chromaSkip)) {
            return false;
        }
        uint8_t* first = layout.vFirst ? v : u;
        uint8_t* second = layout.vFirst ? u : v;
        if (layout.depth == SampleDepth::Bits8) {
            kernels::SplitPairs(raw, static_cast<int>(samples), first, second);
        } else {
            kernels::SplitPairsHigh10(raw16, static_cast<int>(samples), first, second);
        }
        return true;
    }

    // Planar: U then V, or V then U.
    const int64_t uPlane = chromaBase + (layout.vFirst ? geo.chromaPlaneBytes : 0);
    const int64_t vPlane = chromaBase + (layout.vFirst ? 0 : geo.chromaPlaneBytes);
    if (layout.depth == SampleDepth::Bits8) {
        return file.ReadAt(u, static_cast<size_t>(chromaLen), uPlane + chromaSkip) &&
               file.ReadAt(v, static_cast<size_t>(chromaLen), vPlane + chromaSkip);
    }
    if (!file.ReadAt(raw, static_cast<size_t>(chromaLen), uPlane + chromaSkip)) {
        return false;
    }
    kernels::NarrowLow10(raw16, static_cast<size_t>(samples), u);
    if (!file.ReadAt(raw, static_cast<size_t>(chromaLen), vPlane + chromaSkip)) {
        return false;
    }
    kernels::NarrowLow10(raw16, static_cast<size_t>(samples), v);
    return true;
}

int FrameDecoder::DecodeYuv444(uint8_t* dst) const
{
    const int w = geo.width;
    const int h = geo.height;
    const int64_t plane = static_cast<int64_t>(w) * h;
    uint8_t* dstU = dst + plane;
    uint8_t* dstV = dst + 2 * plane;
    const bool neutral = NeutralChroma();
    // 4:4:4 chroma lands in the output directly; subsampled chroma goes
    // through a band-sized buffer and is widened from there.
    const bool subsampled = !neutral && layout.chromaShiftX != 0;
    const int bandRows = BandRows();
    const int64_t chromaBand = subsampled ? static_cast<int64_t>(bandRows) * geo.chromaWidth : 0;

    const int64_t rawBytes = RawScratchBytes(bandRows);
    Scratch scratch = Allocate(rawBytes + 2 * chromaBand);
    if (!scratch) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    // raw first: 10-bit words need its malloc alignment.
    uint8_t* raw = scratch.get();
    uint8_t* bandU = raw + rawBytes;
    uint8_t* bandV = bandU + chromaBand;

    if (neutral) {
        std::memset(dstU, kNeutral, static_cast<size_t>(2 * plane));
    }
    for (int row0 = 0; row0 < h; row0 += bandRows) {
        const int rows = std::min(bandRows, h - row0);
        uint8_t* y = dst + static_cast<int64_t>(row0) * w;
        if (neutral) {
            if (!ReadBand(row0, rows, y, nullptr, nullptr, raw)) {
                return YUVReader::READ_ERROR_FILE;
            }
            continue;
        }
        if (!subsampled) {
            const int64_t at = static_cast<int64_t>(row0) * w;
            if (!ReadBand(row0, rows, y, dstU + at, dstV + at, raw)) {
                return YUVReader::READ_ERROR_FILE;
            }
            continue;
        }
        if (!ReadBand(row0, rows, y, bandU, bandV, raw)) {
            return YUVReader::READ_ERROR_FILE;
        }
        const int cr0 = ChromaFirst(row0);
        int previous = -1;
        for (int r = row0; r < row0 + rows; ++r) {
            const int cr = std::min(r >> layout.chromaShiftY, geo.chromaHeight - 1);
            uint8_t* outU = dstU + static_cast<int64_t>(r) * w;
            uint8_t* outV = dstV + static_cast<int64_t>(r) * w;
            if (cr == previous) {
                std::memcpy(outU, outU - w, static_cast<size_t>(w));
                std::memcpy(outV, outV - w, static_cast<size_t>(w));
                continue;
            }
            const int64_t at = static_cast<int64_t>(cr - cr0) * geo.chromaWidth;
            kernels::WidenRow(bandU + at, geo.chromaWidth, outU, w);
            kernels::WidenRow(bandV + at, geo.chromaWidth, outV, w);
            previous = cr;
        }
    }
    return YUVReader::READ_OK;
}

int FrameDecoder::DecodeRgb24(uint8_t* dst) const
{
    const int w = geo.width;
    const int h = geo.height;
    const bool neutral = NeutralChroma();
    const bool subsampled = !neutral && layout.chromaShiftX != 0;
    const int bandRows = BandRows();
    const int64_t termBytes = 3 * static_cast<int64_t>(w) * sizeof(int16_t);
    const int64_t rawBytes = RawScratchBytes(bandRows);
    const int64_t lumaBand = static_cast<int64_t>(bandRows) * w;
    const int64_t chromaBand = neutral ? 0 : static_cast<int64_t>(bandRows) * geo.chromaWidth;
    // An output this large leaves the caches before anyone reads it: written
    // past them, it costs half the memory traffic.
    const bool stream = 3 * static_cast<int64_t>(w) * h >= kStreamedRgbBytes;

    // Terms first and raw next keep both 16-bit arrays aligned.
    Scratch scratch = Allocate(termBytes + rawBytes + lumaBand + 2 * chromaBand + w);
    if (!scratch) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    auto* termR = reinterpret_cast<int16_t*>(scratch.get());
    int16_t* termG = termR + w;
    int16_t* termB = termG + w;
    uint8_t* raw = scratch.get() + termBytes;
    uint8_t* bandY = raw + rawBytes;
    uint8_t* bandU = bandY + lumaBand;
    uint8_t* bandV = bandU + chromaBand;
    uint8_t* neutralRow = bandV + chromaBand;

    if (neutral) {
        // Every row shares the terms of U = V = 128.
        std::memset(neutralRow, kNeutral, static_cast<size_t>(w));
        kernels::ChromaTermsRow(neutralRow, neutralRow, w, termR, termG, termB);
    }
    for (int row0 = 0; row0 < h; row0 += bandRows) {
        const int rows = std::min(bandRows, h - row0);
        if (!ReadBand(row0, rows, bandY, bandU, bandV, raw)) {
            return YUVReader::READ_ERROR_FILE;
        }
        const int cr0 = neutral ? 0 : ChromaFirst(row0);
        int previous = -1;
        for (int r = row0; r < row0 + rows; ++r) {
            const int cr = neutral ? 0 : std::min(r >> layout.chromaShiftY, geo.chromaHeight - 1);
            if (!neutral && cr != previous) {
                const int64_t at = static_cast<int64_t>(cr - cr0) * geo.chromaWidth;
                if (subsampled) {
                    kernels::ChromaTermsWideRow(bandU + at, bandV + at, geo.chromaWidth, termR,
                                                termG, termB, w);
                } else {
                    kernels::ChromaTermsRow(bandU + at, bandV + at, w, termR, termG, termB);
                }
                previous = cr;
            }
            kernels::LumaToRgb(bandY + static_cast<int64_t>(r - row0) * w, termR, termG, termB,
                               dst + static_cast<int64_t>(r) * w * 3, w, stream);
        }
    }
    return YUVReader::READ_OK;
}

} // namespace lumo
