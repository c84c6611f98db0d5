#ifndef LUMO_SRC_FRAME420_H
#define LUMO_SRC_FRAME420_H

#include "Layout.h"

#include <cstdint>

namespace lumo {

// Bytes of an I420 frame of the geometry's size: Y, then U and V of
// (w/2) x (h/2).
int64_t I420Bytes(const FrameGeometry& geo);

// True when a stored frame already is that I420 frame, byte for byte.
bool StoredAsI420(const Layout& layout);

// Scratch ConvertToI420 needs for the layout, in bytes.
int64_t I420ScratchBytes(const Layout& layout, const FrameGeometry& geo);

// Turns one stored frame (geo.frameBytes at raw) into I420 at dst, giving
// exactly what reading it as 4:4:4 and halving that gives: 4:2:0 chroma is
// taken as it is, 4:2:2 chroma rows are averaged in pairs, 4:4:4 chroma is
// averaged over 2x2 blocks, and a frame without chroma gets 128. raw and
// scratch must be 2-byte aligned for the 10-bit layouts.
void ConvertToI420(const Layout& layout, const FrameGeometry& geo, const uint8_t* raw,
                   uint8_t* dst, uint8_t* scratch);

} // namespace lumo

#endif
