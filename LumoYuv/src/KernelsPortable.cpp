// The row loops for any processor: the compiler's baseline instruction set.
#define LUMO_KERNEL_NS portable
#define LUMO_KERNEL_LEVEL Level::Portable
#include "KernelsImpl.h"
