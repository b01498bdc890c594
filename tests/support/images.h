// Random images of every format, and the comparison of an output image with its definition.
#pragma once

#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/cases.h"

#include <algorithm>
#include <deque>

using Image = __tag_KIRO_OFFSCREEN;

// An image between inaccessible pages, at times bottom-up. Planes without pixels are null.
struct Frame {
    Image image = {};
    std::deque<GuardedMemory> planes;

    Frame(Random& random, uint32_t format, long width, long height) {
        image = {format, static_cast<int32_t>(width), static_cast<int32_t>(height), {}, {}};
        const auto padding = random.between(0, 2);
        const bool bottomUp = random.chance(25);
        for (int k = 0; rowBytes(k) >= 0; ++k) {
            const long pitch = rowBytes(k) + padding, start = (rows(k) - 1) * pitch;
            const bool empty = rowBytes(k) * rows(k) == 0;
            planes.emplace_back(random.image(empty ? 0 : start + rowBytes(k)));
            image.planes[k] = empty ? nullptr : planes.back().data() + (bottomUp ? start : 0);
            image.pitches[k] = static_cast<int32_t>(bottomUp ? -pitch : pitch);
        }
    }
    // Negative after the last plane.
    long rowBytes(int plane) const {
        const uint32_t f = image.format;
        if (plane == 0)
            return image.width * (f == 0x201 ? 3 : f == 0x501 || f == 0x503 ? 2 : 1);
        const bool halved = f == 0x601 || f == 0x603, paired = f >= 0x801;
        return halved && plane < 3 ? image.width / 2 : paired && plane < 2 ? image.width : -1;
    }
    long rows(int plane) const {
        const bool all = plane == 0 || image.format == 0x603 || image.format == 0x803;
        return all ? image.height : image.height / 2;
    }
    unsigned char& at(int plane, long row, long byte) const {
        return image.planes[plane][row * image.pitches[plane] + byte];
    }
    // The plane with byteAt(y, k), in its low bits, as the byte k of row y.
    template <typename ByteAt>
    Bytes drawn(int plane, ByteAt byteAt) const {
        const GuardedMemory& memory = planes[size_t(plane)];
        Bytes content = memory.content();
        for (long i = 0; i < rows(plane) * rowBytes(plane); ++i) {
            const long y = i / rowBytes(plane), k = i % rowBytes(plane);
            content[size_t(&at(plane, y, k) - memory.data())] =
                static_cast<unsigned char>(byteAt(y, k));
        }
        return content;
    }
};

// Compares what call(memory) writes to `out` with `expected`, padding included. An arena for one
// block of `payload` bytes suffices; with 8 bytes less, or without the first allocation, nothing
// is written.
template <typename Call>
void expectOutput(Random& random, const GuardedMemory& out, long payload, Call call,
                  const Bytes& expected) {
    const Bytes before = out.content();
    payload = (payload + 7) / 8 * 8;
    const Arena small(payload - 8), arena(payload);
    ASSERT_EQ(call(small.handle()), ERR_NO_MEMORY);
    allocationsUntilFailure = 0;
    ASSERT_EQ(call(arena.handle()), ERR_NO_MEMORY);
    ASSERT_TRUE(out.content() == before);
    ASSERT_EQ(call(random.chance(50) ? arena.handle() : nullptr), ERR_NONE);
    ASSERT_TRUE(out.content() == expected);
    ASSERT_TRUE(small.isEmpty() && arena.isEmpty());
    note(expected);
}
