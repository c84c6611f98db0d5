#ifndef LUMO_SRC_FRAMEDECODER_H
#define LUMO_SRC_FRAMEDECODER_H

#include "FrameFile.h"
#include "Layout.h"

#include <cstdint>

namespace lumo {

// Turns one frame of a file into planar 4:4:4 or RGB24. It works in bands
// of rows: each band is read with a few preads, brought to 8-bit planes at
// the layout's own chroma resolution, then widened into the output while it
// is still in cache.
class FrameDecoder {
public:
    // The frame starts at frameOffset and lies wholly inside the file.
    FrameDecoder(const Layout& layout, const FrameGeometry& geometry, const FrameFile& file,
                 int64_t frameOffset);

    // Return YUVReader::READ_OK or the failure status; dst holds 3*w*h bytes.
    int DecodeYuv444(uint8_t* dst) const;
    int DecodeRgb24(uint8_t* dst) const;

private:
    // Rows [row0, row0 + rows) of luma into y (w per row) and the chroma rows
    // they use, [ChromaFirst(row0), ChromaEnd(row0, rows)), into u and v
    // (chromaWidth per row). raw holds RawScratchBytes().
    bool ReadBand(int row0, int rows, uint8_t* y, uint8_t* u, uint8_t* v, uint8_t* raw) const;

    int ChromaFirst(int row0) const;
    int ChromaEnd(int row0, int rows) const;
    int BandRows() const;
    int64_t RawScratchBytes(int bandRows) const;
    bool NeutralChroma() const;

    const Layout& layout;
    const FrameGeometry& geo;
    const FrameFile& file;
    int64_t offset;
};

} // namespace lumo

#endif
