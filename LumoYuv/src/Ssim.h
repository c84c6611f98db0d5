#ifndef LUMO_SRC_SSIM_H
#define LUMO_SRC_SSIM_H

#include <cstdint>

namespace lumo {

// Mean SSIM of two width x height 8-bit planes (see YUVReader::CallSsimIqa).
// clampVideoRange clamps every sample to 16..235 first.
double PlaneSsim(const uint8_t* a, const uint8_t* b, int width, int height, bool clampVideoRange);

} // namespace lumo

#endif
