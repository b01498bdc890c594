#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

enum class ByteOrder { big, little };

// A part of a file or of memory, of which only what is asked for is read. Nothing outside the part
// can be reached, whatever offsets a damaged file holds.
class ByteRange {
public:
    // Of a regular file; empty when it cannot be read.
    static ByteRange ofFile(const std::string& path);

    // The memory must outlive the range.
    static ByteRange ofMemory(std::span<const uint8_t> bytes);

    ByteRange() = default;

    uint64_t size() const { return size_; }

    // Cut to what there is.
    ByteRange part(uint64_t offset, uint64_t size = UINT64_MAX) const;

    // Both are empty when there are fewer bytes at the offset. A number has up to 8 bytes.
    std::string bytes(uint64_t offset, uint64_t count) const;
    std::optional<uint64_t> number(uint64_t offset, size_t count, ByteOrder order) const;

    bool startsWith(std::string_view text, uint64_t offset = 0) const;

private:
    class Source;
    class File;
    class Memory;

    ByteRange(std::shared_ptr<Source> source, uint64_t start, uint64_t size)
        : source_(std::move(source)), start_(start), size_(size) {}

    std::shared_ptr<Source> source_;
    uint64_t start_ = 0;
    uint64_t size_ = 0;
};
