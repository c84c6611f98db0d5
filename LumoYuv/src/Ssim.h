#ifndef LUMO_SRC_SSIM_H
#define LUMO_SRC_SSIM_H

#include <cstdint>

namespace lumo {

// Mean SSIM of two width x height 8-bit planes (see YUVReader::CallSsimIqa),
// every sample first limited to lo..hi (0..255 leaves them as they are).
double PlaneSsim(const uint8_t* a, const uint8_t* b, int width, int height, int lo, int hi);

} // namespace lumo

#endif
