#include "media/turned_plane.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// How the target is read from the plane: where its first group is, and how far apart in bytes the
// groups of a row and the rows are there.
struct Walk {
    const uint8_t* first;
    int64_t along;
    int64_t down;
    int64_t width; // of the target
    int64_t height;
};

Walk walkOf(const PlaneView& plane, Orientation orientation) {
    using enum Orientation;
    const bool fromRight = orientation == mirrored || orientation == turned180 ||
                           orientation == transversed || orientation == turned270;
    const bool fromBottom = orientation == turned180 || orientation == flipped ||
                            orientation == transversed || orientation == turned90;
    Walk walk = {.first = plane.data + (fromRight ? (plane.width - 1) * plane.groupBytes : 0) +
                          (fromBottom ? (plane.height - 1) * plane.pitch : 0),
                 .along = fromRight ? -plane.groupBytes : plane.groupBytes,
                 .down = fromBottom ? -plane.pitch : plane.pitch,
                 .width = plane.width,
                 .height = plane.height};
    if (exchangesSides(orientation)) {
        std::swap(walk.along, walk.down);
        std::swap(walk.width, walk.height);
    }
    return walk;
}

struct Area {
    int64_t left, top, right, bottom; // of the target
};

template <int groupBytes>
void copyGroups(const Walk& walk, uint8_t* to, int64_t pitch, const Area& area) {
    for (int64_t y = area.top; y < area.bottom; ++y)
        for (int64_t x = area.left; x < area.right; ++x)
            std::memcpy(to + y * pitch + x * groupBytes,
                        walk.first + x * walk.along + y * walk.down, groupBytes);
}

// Covers the target with tiles, of which both ends stay in the cache when rows become columns. Few
// rows of the plane at a time: their pitch may put all of them into one set of the cache.
template <typename Copy>
void forEachTile(const Walk& walk, Copy copy) {
    constexpr int64_t width = 16, height = 512;
    for (int64_t top = 0; top < walk.height; top += height)
        for (int64_t left = 0; left < walk.width; left += width)
            copy(Area{left, top, std::min(left + width, walk.width),
                      std::min(top + height, walk.height)});
}

// 16 bytes of a row.
template <typename Group>
using Vector [[gnu::vector_size(16)]] = Group;

template <typename Group>
constexpr int laneCount = 16 / sizeof(Group);

template <typename Group, int start, size_t... i>
Vector<Group> interleaved(Vector<Group> a, Vector<Group> b, std::index_sequence<i...>) {
    constexpr int lanes = laneCount<Group>;
    return __builtin_shufflevector(a, b, (start + static_cast<int>(i / 2 + i % 2 * lanes))...);
}

// As many rows as make columns of 8 bytes.
template <typename Group>
struct Block {
    static constexpr int columnCount = laneCount<Group>;
    static constexpr int rowCount = columnCount / 2;

    Vector<Group> rows[rowCount];

    // Interleaves the upper half of the rows with the lower half until the groups of a column
    // follow each other: each time doubles the groups that do.
    void transpose() {
        constexpr auto lanes = std::make_index_sequence<columnCount>();
        for (int n = 1; n < rowCount; n *= 2) {
            Block next;
            for (int i = 0; i < rowCount / 2; ++i) {
                const Vector<Group> a = rows[i], b = rows[i + rowCount / 2];
                next.rows[2 * i] = interleaved<Group, 0>(a, b, lanes);
                next.rows[2 * i + 1] = interleaved<Group, columnCount / 2>(a, b, lanes);
            }
            *this = next;
        }
    }
};

// Turns a block whose rows are `along` apart in the plane.
template <typename Group>
void copyBlock(const Walk& walk, uint8_t* to, int64_t pitch, int64_t left, int64_t top) {
    constexpr int columns = Block<Group>::columnCount;
    const bool backward = walk.down < 0;
    const uint8_t* const from =
        walk.first + left * walk.along + (top + (backward ? columns - 1 : 0)) * walk.down;
    Block<Group> block;
    for (int i = 0; i < Block<Group>::rowCount; ++i)
        std::memcpy(&block.rows[i], from + i * walk.along, 16);
    block.transpose();
    uint8_t turned[sizeof block];
    std::memcpy(turned, &block, sizeof block);
    for (int i = 0; i < columns; ++i)
        std::memcpy(to + (top + (backward ? columns - 1 - i : i)) * pitch +
                        left * int64_t{sizeof(Group)},
                    turned + 8 * i, 8);
}

template <typename Group>
void copyTransposed(const Walk& walk, uint8_t* to, int64_t pitch) {
    constexpr int64_t width = Block<Group>::rowCount, height = Block<Group>::columnCount;
    forEachTile(walk, [&](const Area& tile) {
        for (int64_t y = tile.top; y < tile.bottom; y += height)
            for (int64_t x = tile.left; x < tile.right; x += width) {
                const Area area = {x, y, std::min(x + width, tile.right),
                                   std::min(y + height, tile.bottom)};
                if (area.right - x == width && area.bottom - y == height)
                    copyBlock<Group>(walk, to, pitch, x, y);
                else
                    copyGroups<sizeof(Group)>(walk, to, pitch, area);
            }
    });
}

// A row whose groups are read from right to left.
template <typename Group>
void copyReversed(const uint8_t* from, uint8_t* to, int64_t width) {
    int64_t x = 0;
    if constexpr (sizeof(Group) == 1)
        for (; x + 8 <= width; x += 8) {
            uint64_t bytes = 0;
            std::memcpy(&bytes, from - x - 7, 8);
            bytes = __builtin_bswap64(bytes);
            std::memcpy(to + x, &bytes, 8);
        }
    constexpr int64_t groupBytes = sizeof(Group);
    for (; x < width; ++x)
        std::memcpy(to + x * groupBytes, from - x * groupBytes, sizeof(Group));
}

template <typename Group>
void copyTurned(const Walk& walk, bool exchanged, uint8_t* to, int64_t pitch) {
    if (exchanged)
        return copyTransposed<Group>(walk, to, pitch);
    for (int64_t y = 0; y < walk.height; ++y)
        if (walk.along < 0)
            copyReversed<Group>(walk.first + y * walk.down, to + y * pitch, walk.width);
        else
            std::memcpy(to + y * pitch, walk.first + y * walk.down,
                        static_cast<size_t>(walk.width) * sizeof(Group));
}

} // namespace

void copyTurned(const PlaneView& plane, Orientation orientation, uint8_t* to, int64_t pitch) {
    const Walk walk = walkOf(plane, orientation);
    const bool exchanged = exchangesSides(orientation);
    const auto copyPlainly = [&](auto groupBytes) {
        forEachTile(walk,
                    [&](const Area& tile) { copyGroups<groupBytes()>(walk, to, pitch, tile); });
    };
    switch (plane.groupBytes) {
    case 1: return copyTurned<uint8_t>(walk, exchanged, to, pitch);
    case 2: return copyTurned<uint16_t>(walk, exchanged, to, pitch);
    case 3: return copyPlainly(std::integral_constant<int, 3>());
    case 4: return copyTurned<uint32_t>(walk, exchanged, to, pitch);
    case 6: return copyPlainly(std::integral_constant<int, 6>());
    default: return copyPlainly(std::integral_constant<int, 8>());
    }
}
