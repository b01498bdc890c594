#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

// The bytes of a file, which is opened once and read in order, as pipes need it.
class FileBytes {
public:
    // Opens a file, or standard input for "-". Throws BadPicture with the system's reason.
    explicit FileBytes(std::string path);

    // At least `count` bytes from the start, or the whole of a shorter file. Throws BadPicture for
    // an empty file.
    std::span<const uint8_t> start(size_t count);

    std::span<const uint8_t> whole();

private:
    struct Closer {
        void operator()(FILE* file) const;
    };

    void readTo(size_t size);

    std::string path_;
    std::unique_ptr<FILE, Closer> file_;
    std::vector<uint8_t> bytes_;
    bool ended_ = false;
};
