// Random images, and buffers that end or begin at a page that must not be touched.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <random>
#include <vector>

using Bytes = std::vector<unsigned char>;

class GuardedBuffer {
public:
    GuardedBuffer(const Bytes& content, bool atEnd)
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
    Bytes copy() const { return {data_, data_ + size_}; }

private:
    static constexpr size_t page = 65536; // at least the page size of every platform
    size_t size_;
    size_t mapped_;
    unsigned char* pages_;
    unsigned char* data_;
};

class Random {
public:
    long between(long low, long high) {
        return std::uniform_int_distribution<long>(low, high)(engine_);
    }
    // All black, all white, alternating, lone marks, or noise.
    Bytes fill(long size) {
        Bytes bytes(static_cast<size_t>(size));
        const long kind = between(0, 6);
        for (size_t i = 0; i < bytes.size(); ++i) {
            long value = between(0, 255);
            if (kind == 0 || kind == 1)
                value = kind * 255;
            else if (kind == 2)
                value = i % 2 * 255;
            else if (kind == 3)
                value = value < 4 ? 255 : 0;
            bytes[i] = static_cast<unsigned char>(value);
        }
        return bytes;
    }

private:
    std::mt19937_64 engine_{20141103};
};
