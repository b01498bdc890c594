#pragma once

#include <stdexcept>
#include <string>
#include <utility>

// What ends a run because of its input: reported as one line `kelvane: NAME: reason`.
class InputError : public std::runtime_error {
public:
    InputError(std::string name, const std::string& reason)
        : std::runtime_error(reason), name_(std::move(name)) {}

    const std::string& name() const { return name_; }

private:
    std::string name_;
};

// One picture or frame that cannot be used; `--skip-bad` leaves it out.
class BadPicture : public InputError {
    using InputError::InputError;
};

// Output that could not be written although its place is a sound one: a full disk, for example.
class WriteError : public std::runtime_error {
public:
    WriteError(std::string name, const std::string& reason)
        : std::runtime_error(reason), name_(std::move(name)) {}

    const std::string& name() const { return name_; }

private:
    std::string name_;
};
