#include "media/file_bytes.h"

#include "base/error.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

// Of a file whose size is not known, and what is read beyond a size that was.
constexpr size_t leastPart = 64 << 10;

constexpr size_t mostBytes = size_t{INT32_MAX} - 64; // decoders count in 32 bits, and pad

struct Closer {
    void operator()(FILE* file) const {
        if (file != stdin)
            std::fclose(file);
    }
};

size_t sizeOf(FILE* file) {
    struct stat status = {};
    if (::fstat(::fileno(file), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)
        return 0;
    return static_cast<size_t>(status.st_size);
}

bool isReadOnce(const std::string& path) {
    struct stat status = {};
    return path == "-" || (::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode));
}

} // namespace

class ByteSource {
public:
    explicit ByteSource(std::string path) : path_(std::move(path)) {
        if (path_ == "-" && ::isatty(STDIN_FILENO) == 1)
            throw BadPicture(path_, "is a terminal; send a picture to it");
        file_.reset(path_ == "-" ? stdin : std::fopen(path_.c_str(), "rbe"));
        if (!file_)
            throw BadPicture(path_, std::generic_category().message(errno));
        std::setvbuf(file_.get(), nullptr, _IONBF, 0);
    }

    std::span<const uint8_t> start(size_t count) {
        readTo(count);
        return bytes_;
    }

    std::span<const uint8_t> whole() {
        // One read of a regular file; it may grow meanwhile.
        bytes_.reserve(std::min(sizeOf(file_.get()), mostBytes) + 1);
        readTo(mostBytes + 1);
        return bytes_;
    }

private:
    void readTo(size_t size) {
        size_t used = bytes_.size();
        while (used < size && !ended_) {
            const size_t room = std::max(bytes_.capacity(), used + std::max(used, leastPart));
            bytes_.resize(std::min(size, room));
            const size_t count =
                std::fread(bytes_.data() + used, 1, bytes_.size() - used, file_.get());
            ended_ = count < bytes_.size() - used;
            used += count;
            bytes_.resize(used);
        }
        if (std::ferror(file_.get()) != 0)
            throw BadPicture(path_, std::generic_category().message(errno));
        if (bytes_.empty())
            throw BadPicture(path_, "the file is empty");
        if (size > mostBytes && !ended_)
            throw BadPicture(path_, "the file is too large for a picture");
    }

    std::string path_;
    std::unique_ptr<FILE, Closer> file_;
    std::vector<uint8_t> bytes_;
    bool ended_ = false;
};

namespace {

std::shared_ptr<ByteSource> keptSource(const std::string& path) {
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<ByteSource>> sources;
    const std::lock_guard lock(mutex);
    std::shared_ptr<ByteSource>& source = sources[path];
    if (!source)
        source = std::make_shared<ByteSource>(path);
    return source;
}

} // namespace

FileBytes::FileBytes(const std::string& path)
    : source_(isReadOnce(path) ? keptSource(path) : std::make_shared<ByteSource>(path)) {}

std::span<const uint8_t> FileBytes::start(size_t count) { return source_->start(count); }

std::span<const uint8_t> FileBytes::whole() { return source_->whole(); }
