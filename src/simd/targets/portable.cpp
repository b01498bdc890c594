#include "simd/portable.h"

#include "simd/kernel_table.h"
