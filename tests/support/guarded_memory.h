// Memory between two inaccessible pages: it ends right before the second one, or begins right after
// the first one. AddressSanitizer guards both ends. What is never written is zero and takes no
// room.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

#if __has_include(<sanitizer/asan_interface.h>) // Clang may be installed without it
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)
#define ASAN_UNPOISON_MEMORY_REGION(address, size)
#endif

using Bytes = std::vector<unsigned char>;

class GuardedMemory {
public:
    explicit GuardedMemory(size_t size, bool atEnd = true) : size_(size) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t usable = (size + page - 1) / page * page;
        mappedSize_ = usable + 2 * page;
        void* const mapped = mmap(nullptr, mappedSize_, PROT_NONE,
                                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapped == MAP_FAILED)
            std::abort();
        mapped_ = static_cast<unsigned char*>(mapped);
        if (usable > 0 && mprotect(mapped_ + page, usable, PROT_READ | PROT_WRITE) != 0)
            std::abort();
        data_ = mapped_ + page + (atEnd ? usable - size : 0);
        slack_ = {atEnd ? mapped_ + page : data_ + size, usable - size};
        ASAN_POISON_MEMORY_REGION(slack_.first, slack_.second);
    }
    explicit GuardedMemory(const Bytes& content, bool atEnd = true)
        : GuardedMemory(content.size(), atEnd) {
        std::copy(content.begin(), content.end(), data_);
    }
    ~GuardedMemory() {
        ASAN_UNPOISON_MEMORY_REGION(slack_.first, slack_.second);
        munmap(mapped_, mappedSize_);
    }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    unsigned char* data() const { return data_; }
    Bytes content() const { return {data_, data_ + size_}; }

private:
    size_t size_;
    unsigned char* mapped_;
    size_t mappedSize_;
    unsigned char* data_;
    std::pair<unsigned char*, size_t> slack_; // between the data and the next page
};
