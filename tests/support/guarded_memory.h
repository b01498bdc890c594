// Memory between two inaccessible pages: it ends right before the second one.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

class GuardedMemory {
public:
    explicit GuardedMemory(size_t size) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t usable = (size + page - 1) / page * page;
        mappedSize_ = usable + 2 * page;
        void* const mapped =
            mmap(nullptr, mappedSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED)
            std::abort();
        mapped_ = static_cast<unsigned char*>(mapped);
        if (usable > 0 && mprotect(mapped_ + page, usable, PROT_READ | PROT_WRITE) != 0)
            std::abort();
        data_ = mapped_ + page + usable - size;
    }
    ~GuardedMemory() { munmap(mapped_, mappedSize_); }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    unsigned char* data() const { return data_; }

private:
    unsigned char* mapped_;
    size_t mappedSize_;
    unsigned char* data_;
};
