#include "simd/avx2.h"

#include "simd/kernel_table.h"
