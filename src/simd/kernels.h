// The loops that decide the library's speed: what each takes and gives. Every one is written once,
// in simd/kernels/, for vectors of any length, and compiled for every instruction set of the
// architecture. All give the same bytes.
//
// For all of them: counts and sizes are in bytes where nothing else is said. Nothing is read or
// written outside the rows and sizes that are passed, not even to be ignored. Source and
// destination do not overlap, except where a kernel says that it works in place. Widths may be
// smaller than a vector.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int boxReciprocalBits = 23; // of the fixed-point reciprocals of window areas

// A row of windows of the box filter. Both radii are below `width`.
struct BoxRow {
    int64_t width;    // in pixels
    int64_t channels; // 1 or 3
    int64_t left;
    int64_t right;
    int64_t shortest;     // window
    int64_t counterBytes; // 2 where the sums of all windows fit 16 bits, otherwise 4
};

// How the rows in the windows change from one row of windows to the next.
struct BoxRowChange {
    const uint8_t* added;   // null if none
    const uint8_t* removed; // null if none
    const uint8_t* saved;   // null, or to be copied to `slot`, which may be the row removed
    uint8_t* slot;
};

// Two rows of windows of the box filter that reach `radius` columns, 1 or 2, to either side.
struct BoxWindows {
    // Those in the windows of the first row, 2 to 5, and below them the last in those of the
    // second.
    const uint8_t* rows[6];
    int64_t count;
    int64_t bytes;    // of a row
    int64_t channels; // 1 or 3
    int64_t radius;
    // The reciprocals of the windows' areas, for each even byte of a row and for each odd one, with
    // `boxFactorBits`. They are read to the end of the last vector.
    const uint16_t* evenFactors;
    const uint16_t* oddFactors;
    uint8_t* means[2]; // the same row twice stands for the first one
    // Rows to be copied before means overwrite them. A slot may be one of the rows.
    const uint8_t* saved[2];
    uint8_t* slots[2];
    int64_t savedCount;
};

// So many make the means exact that have at most 16 bits themselves.
constexpr int boxFactorBits(int64_t radius) { return radius == 1 ? 16 : 18; }

struct Kernels {
    // `sums` are counters in an order of their own, zero at first: one for each byte of a row, of
    // which each has room for 4 bytes.
    void (*moveBoxRows)(void* sums, const BoxRow& row, const BoxRowChange& change);
    // Writes one row of means. `reciprocals` are those of the windows' areas, for each width of
    // windows from the shortest on.
    void (*divideBoxRow)(void* sums, const BoxRow& row, const uint32_t* reciprocals,
                         uint8_t* means);
    // Means may overwrite the rows of the windows.
    void (*filterBoxWindows)(const BoxWindows& windows);
};

// Those for rows of `rowBytes`: of the widest instruction set of this processor of which a row
// fills at least one vector, otherwise of the one that all processors have.
const Kernels& kernelsFor(int64_t rowBytes);

// One table for each instruction set. Those of one that the processor lacks must not be called.
#if defined(KELVANE_PORTABLE) || !(defined(__x86_64__) || defined(__aarch64__))
namespace portable {
extern const Kernels kernels;
}
namespace baseline = portable;
#elif defined(__aarch64__)
namespace neon {
extern const Kernels kernels;
}
namespace baseline = neon;
#else
namespace sse2 {
extern const Kernels kernels;
}
namespace avx2 {
extern const Kernels kernels;
}
namespace avx512 {
extern const Kernels kernels;
}
namespace baseline = sse2;
#endif

} // namespace kelvane
