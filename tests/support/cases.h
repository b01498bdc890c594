// Random cases of the library's functions. Each compares what the library gives with a definition
// or with what must always hold, and notes it: the digest of what all rounds have noted is part of
// the interface. The fuzz targets run the same cases with choices of their own.
//
// Every choice is a statement or an element of braces: compilers order the arguments of a call as
// they like.
#pragma once

#include "support/random.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

using Bytes = std::vector<unsigned char>;

struct Case {
    std::string name; // functions that it calls, in words
    int rounds;       // of one, there is nothing to choose
    uint64_t digest;
    void (*run)(Random& random);
};

// All cases of this program, which define themselves by `const Register ...{{...}}`.
inline std::vector<Case>& allCases() {
    static std::vector<Case> cases;
    return cases;
}
struct Register {
    explicit Register(std::initializer_list<Case> cases) {
        allCases().insert(allCases().end(), cases);
    }
};

inline uint64_t noted = 0; // FNV-1a

inline void noteBytes(const void* data, int64_t size) {
    const auto* const begin = static_cast<const unsigned char*>(data);
    for (const unsigned char* byte = begin; byte < begin + size; ++byte)
        noted = (noted ^ *byte) * 0x100000001B3;
}
inline void note(const Bytes& bytes) { noteBytes(bytes.data(), std::ssize(bytes)); }
template <typename... Values>
void note(const Values&... values) {
    static_assert(
        ((std::is_arithmetic_v<Values> || std::has_unique_object_representations_v<Values>)&&...));
    (noteBytes(&values, sizeof values), ...);
}
