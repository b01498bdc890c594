// The kernels of one instruction set, compiled with the operations that the including file has
// brought, and their table.
#include "simd/kernels.h"

#include "simd/kernels/bit_differences.h"
#include "simd/kernels/box_rows.h"
#include "simd/kernels/box_windows.h"
#include "simd/kernels/extremum.h"
#include "simd/kernels/row_operations.h"
#include "simd/kernels/row_resampling.h"
#include "simd/kernels/sample_differences.h"
#include "simd/kernels/threshold_bits.h"
#include "simd/kernels/threshold_counts.h"

namespace kelvane::KELVANE_TARGET {

constinit const Kernels kernels = {
    .planRow = planRow,
    .blendRows = blendRows,
    .doublePlane = doublePlane,
    .writeBgr = writeBgr,
    .moveBoxRows = moveBoxRows,
    .divideBoxRow = divideBoxRow,
    .divideCutWindows = divideCutWindows,
    .filterBoxWindows = filterBoxWindows,
    .countBelow = countBelow,
    .packAbove = packAbove,
    .countDifferences = countDifferences,
    .countMaskedDifferences = countMaskedDifferences,
    .countThreeDifferences = countThreeDifferences,
    .sumSampleDifferences = {sumSampleDifferences<LumaSampler>,
                             sumSampleDifferences<PackedLumaSampler>,
                             sumSampleDifferences<Rgb565Sampler>,
                             sumSampleDifferences<Xrgb32Sampler>},
    .filterExtremum = filterExtremum,
};

} // namespace kelvane::KELVANE_TARGET
