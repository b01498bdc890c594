#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

// A file that is being read from its start.
class ByteSource;

// The bytes of a file. Standard input and a pipe, which can be read only once, keep theirs for
// whoever asks for them again, one at a time.
class FileBytes {
public:
    // Opens a file, or standard input for "-". Throws BadPicture with the system's reason.
    explicit FileBytes(const std::string& path);

    // At least `count` bytes from the start, or the whole of a shorter file. Throws BadPicture for
    // an empty file.
    std::span<const uint8_t> start(size_t count);

    std::span<const uint8_t> whole();

private:
    std::shared_ptr<ByteSource> source_;
};
