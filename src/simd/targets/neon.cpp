#include "simd/neon.h"

#include "simd/kernel_table.h"
