#include "memory.h"

#include <fmt/format.h>
#include <pybind11/pybind11.h>

Memory::Memory(std::optional<int64_t> budget) : budget_(budget) {
    if (!budget)
        return;
    if (*budget > 0) {
        arena_ = std::make_unique_for_overwrite<unsigned char[]>(static_cast<size_t>(*budget));
        handle_ = VantMemMgrCreate(arena_.get(), *budget);
    }
    if (handle_ == nullptr)
        throw pybind11::value_error(
            fmt::format("budget: {} bytes are too few for any memory", *budget));
}

void Memory::check(long code, const char* purpose) const {
    if (code == ERR_NO_MEMORY)
        throw NotEnoughMemory(
            budget_ ? fmt::format("budget: {} bytes are too few for {}", *budget_, purpose)
                    : fmt::format("there is no memory for {}", purpose));
    if (code != ERR_NONE)
        throw std::logic_error(fmt::format("{}: the library returned {}", purpose, code));
}

const Memory& heap() {
    static const Memory memory(std::nullopt);
    return memory;
}
