// The row loops for processors with AVX-512 F, BW, CD, DQ and VL on top of
// the AVX2 level, built with 512-bit vectors preferred.
#define LUMO_KERNEL_NS avx512
#define LUMO_KERNEL_LEVEL Level::Avx512
#include "KernelsImpl.h"
