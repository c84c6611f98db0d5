#ifndef LUMO_SRC_LAYOUT_H
#define LUMO_SRC_LAYOUT_H

#include "lumo/YUVType.h"

#include <cstdint>

namespace lumo {

enum class Packing {
    Planar,     // Y plane, then two chroma planes
    SemiPlanar, // Y plane, then one plane of chroma pairs
    Packed422,  // Y0 U Y1 V (in some order) per two pixels, one plane
    LumaOnly,   // Y plane only
};

enum class SampleDepth {
    Bits8,
    Bits10Low,  // 16-bit little-endian words, value in the low 10 bits
    Bits10High, // 16-bit little-endian words, value in the high 10 bits
};

// How one registry layout stores a frame.
struct Layout {
    const char* idName;
    const char* displayName;
    Packing packing;
    SampleDepth depth;
    int chromaShiftX; // 1 when chroma has half the columns
    int chromaShiftY; // 1 when chroma has half the rows
    bool vFirst;      // V plane, or V of each pair, stored before U
    // Packed422 only: byte of Y0, U, Y1 and V within each 4-byte group.
    int packY0, packU, packY1, packV;
};

int LayoutCount();
// The registry entry at index; index must be in 0 .. LayoutCount()-1.
const Layout& LayoutAt(int index);
// The entry the YUVType names (index and id name must both agree), or null.
const Layout* FindLayout(const YUVType& type);

// Sizes of one frame of a layout at a given picture size.
struct FrameGeometry {
    int width = 0;
    int height = 0;
    int chromaWidth = 0;  // samples per chroma row
    int chromaHeight = 0; // chroma rows
    int bytesPerSample = 1;
    int64_t lumaRowBytes = 0;   // one row of the Y plane (or of the packed plane)
    int64_t chromaRowBytes = 0; // one row of one chroma plane, or of the pair plane
    int64_t lumaBytes = 0;
    int64_t chromaPlaneBytes = 0; // one chroma plane, or the whole pair plane
    int64_t frameBytes = 0;

    // No chroma samples to read: GRAY, or a subsampled plane rounded to 0.
    bool NeutralChroma(const Layout& layout) const;
};

// False for a size outside 1..MAX_DIMENSION or an odd packed 4:2:2 width.
bool ComputeGeometry(const Layout& layout, int width, int height, FrameGeometry& out);

} // namespace lumo

#endif
