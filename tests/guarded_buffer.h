// A buffer that ends, or begins, at a page that must not be touched.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <vector>

class GuardedBuffer {
public:
    GuardedBuffer(const std::vector<unsigned char>& content, bool atEnd)
        : size_(content.size()), mapped_((size_ + page - 1) / page * page + 2 * page) {
        void* const memory =
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        pages_ = static_cast<unsigned char*>(memory);
        mprotect(pages_, page, PROT_NONE);
        mprotect(pages_ + mapped_ - page, page, PROT_NONE);
        data_ = atEnd ? pages_ + mapped_ - page - size_ : pages_ + page;
        std::memcpy(data_, content.data(), size_);
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    ~GuardedBuffer() { munmap(pages_, mapped_); }

    unsigned char* data() { return data_; }
    std::vector<unsigned char> copy() const { return {data_, data_ + size_}; }

private:
    static constexpr size_t page = 65536; // at least the page size of every platform
    size_t size_;
    size_t mapped_;
    unsigned char* pages_;
    unsigned char* data_;
};
