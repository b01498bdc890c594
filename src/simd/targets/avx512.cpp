#include "simd/avx512.h"

#include "simd/kernel_table.h"
