// An arena of exactly the given payload that faults when something runs over it.
#pragma once

#include "kelvane/kelvane.h"
#include "support/guarded_memory.h"

#include <cstring>

struct HeaderView {
    int64_t size;
    int64_t inUse;
};

inline HeaderView headerAt(const unsigned char* address) {
    HeaderView header;
    std::memcpy(&header, address, sizeof header);
    return header;
}

class Arena {
public:
    explicit Arena(int64_t payload)
        : payload_(payload), memory_(static_cast<size_t>(payload) + 32),
          handle_(VantMemMgrCreate(memory_.data(), payload + 32)) {}

    void* handle() const { return handle_; }
    bool isEmpty() const { return GetMaxAllocMemSize(handle_) == payload_; }
    // Also -1 when the block list does not end where it must.
    int64_t blocksInUse() const {
        int64_t blocks = 0;
        int64_t offset = 0;
        for (; offset < payload_ + 16; offset += 16 + headerAt(memory_.data() + offset).size)
            blocks += headerAt(memory_.data() + offset).inUse;
        return offset == payload_ + 16 && headerAt(memory_.data() + offset).size == -1 ? blocks
                                                                                       : -1;
    }

private:
    int64_t payload_;
    GuardedMemory memory_;
    void* handle_;
};
