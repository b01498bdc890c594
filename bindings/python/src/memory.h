#pragma once

#include "kelvane/kelvane.h"

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

// Becomes Python's MemoryError.
class NotEnoughMemory : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Where a context takes its memory from: the process heap, or an arena of a fixed size.
class Memory {
public:
    explicit Memory(std::optional<int64_t> budget);

    void* handle() const { return handle_; }

    // Throws for what a function of the library returned. The arguments were checked before it was
    // called, so that all but a lack of memory is a fault of this module.
    void check(long code, const char* purpose) const;

private:
    std::optional<int64_t> budget_;
    std::unique_ptr<unsigned char[]> arena_;
    void* handle_ = nullptr;
};

// The process heap.
const Memory& heap();
