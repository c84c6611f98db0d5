// The row loops for processors with AVX2, FMA, BMI and BMI2 (built with
// those flags; FMA is never contracted into the arithmetic).
#define LUMO_KERNEL_NS avx2
#define LUMO_KERNEL_LEVEL Level::Avx2
#include "KernelsImpl.h"
