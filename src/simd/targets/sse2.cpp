#include "simd/sse2.h"

#include "simd/kernel_table.h"
