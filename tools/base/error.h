#pragma once

#include "kelvane/kelvane.h"

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

// What ends a run with one line `kelvane: NAME: reason`.
class NamedError : public std::runtime_error {
public:
    NamedError(std::string name, const std::string& reason)
        : std::runtime_error(reason), name_(std::move(name)) {}

    const std::string& name() const { return name_; }

private:
    std::string name_;
};

// The input, which includes the arguments, cannot be used.
class InputError : public NamedError {
    using NamedError::NamedError;
};

// One picture or frame that cannot be used; `--skip-bad` leaves it out.
class BadPicture : public InputError {
    using InputError::InputError;
};

// A picture of another size than those before it, where only one size can be used.
class OtherSize : public InputError {
    using InputError::InputError;
};

// Output could not be written although its place is a sound one: a full disk, for example.
class WriteError : public NamedError {
    using NamedError::NamedError;
};

// Throws std::bad_alloc for ERR_NO_MEMORY and std::logic_error for any other failure of the
// library: what the user gave has been checked before it is called.
inline void checkResult(long code, const char* function) {
    if (code == ERR_NO_MEMORY)
        throw std::bad_alloc();
    if (code != ERR_NONE)
        throw std::logic_error(fmt::format("{} returned {}", function, code));
}
