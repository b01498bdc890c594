#include "media/metadata/byte_range.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class ByteRange::Source {
public:
    virtual ~Source() = default;
    virtual bool read(uint64_t offset, std::span<char> bytes) = 0;
};

class ByteRange::Memory : public Source {
public:
    explicit Memory(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool read(uint64_t offset, std::span<char> bytes) override {
        std::memcpy(bytes.data(), bytes_.data() + offset, bytes.size());
        return true;
    }

private:
    std::span<const uint8_t> bytes_;
};

// Keeps a window of what was read last, since the fields of a directory lie beside each other.
class ByteRange::File : public Source {
public:
    explicit File(int handle) : handle_(handle) {}
    ~File() override { ::close(handle_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool read(uint64_t offset, std::span<char> bytes) override {
        if (bytes.size() > window_.size())
            return load(offset, bytes) == bytes.size();
        if (offset < windowStart_ || offset + bytes.size() > windowStart_ + windowSize_) {
            windowStart_ = offset;
            windowSize_ = load(offset, window_);
        }
        if (bytes.size() > windowSize_)
            return false; // the file has shrunk
        std::memcpy(bytes.data(), window_.data() + (offset - windowStart_), bytes.size());
        return true;
    }

private:
    size_t load(uint64_t offset, std::span<char> bytes) const {
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t count = ::pread(handle_, bytes.data() + done, bytes.size() - done,
                                          static_cast<off_t>(offset + done));
            if (count == 0 || (count < 0 && errno != EINTR))
                break;
            done += static_cast<size_t>(std::max<ssize_t>(count, 0));
        }
        return done;
    }

    const int handle_;
    std::array<char, 16384> window_;
    uint64_t windowStart_ = 0;
    size_t windowSize_ = 0;
};

ByteRange ByteRange::ofFile(const std::string& path) {
    struct stat status = {};
    // Opening a pipe would wait for its writer, and reading would take the picture away.
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (handle < 0)
        return {};
    return {std::make_shared<File>(handle), 0, static_cast<uint64_t>(status.st_size)};
}

ByteRange ByteRange::ofMemory(std::span<const uint8_t> bytes) {
    return {std::make_shared<Memory>(bytes), 0, bytes.size()};
}

ByteRange ByteRange::part(uint64_t offset, uint64_t size) const {
    if (offset >= size_)
        return {};
    return {source_, start_ + offset, std::min(size, size_ - offset)};
}

std::string ByteRange::bytes(uint64_t offset, uint64_t count) const {
    if (offset > size_ || count > size_ - offset || count == 0)
        return "";
    std::string bytes(count, '\0');
    return source_->read(start_ + offset, bytes) ? bytes : "";
}

std::optional<uint64_t> ByteRange::number(uint64_t offset, size_t count, ByteOrder order) const {
    std::array<char, sizeof(uint64_t)> bytes;
    if (offset > size_ || count > size_ - offset ||
        !source_->read(start_ + offset, {bytes.data(), count}))
        return std::nullopt;
    uint64_t number = 0;
    for (size_t i = 0; i < count; ++i)
        number =
            number << 8 | static_cast<uint8_t>(bytes[order == ByteOrder::big ? i : count - 1 - i]);
    return number;
}

bool ByteRange::startsWith(std::string_view text, uint64_t offset) const {
    return bytes(offset, text.size()) == text;
}
