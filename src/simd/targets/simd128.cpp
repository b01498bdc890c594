#include "simd/simd128.h"

#include "simd/kernel_table.h"
