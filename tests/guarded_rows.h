// Pixel planes for tests: rows that end where reading would fault.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

// `rows` rows of `rowBytes` bytes, `pitch` bytes apart; the last byte of the last row is the last
// one of a page that an inaccessible page follows.
class GuardedRows {
public:
    GuardedRows(long rowBytes, long rows, long pitch)
        : size(static_cast<size_t>((rows - 1) * pitch + rowBytes)) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t usable = (size + page - 1) / page * page;
        mapped = usable + page;
        base = static_cast<unsigned char*>(
            mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base + usable, page, PROT_NONE);
        bytes = base + usable - size;
    }
    ~GuardedRows() { munmap(base, mapped); }
    GuardedRows(const GuardedRows&) = delete;
    GuardedRows& operator=(const GuardedRows&) = delete;

    unsigned char* data() { return bytes; }
    std::vector<unsigned char> content() const { return {bytes, bytes + size}; }

    // Random bytes, or one of the patterns that drive arithmetic to its ends.
    void fill(std::mt19937& random) {
        const auto kind = random() % 6;
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<unsigned char>(kind == 0   ? 0
                                                  : kind == 1 ? 255
                                                  : kind == 2 ? (i % 2) * 255
                                                              : random());
    }
    void fill(unsigned char value) { std::memset(bytes, value, size); }

private:
    size_t size;
    size_t mapped = 0;
    unsigned char* base = nullptr;
    unsigned char* bytes = nullptr;
};
