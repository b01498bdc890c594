#pragma once

#include "phase_times.h"

#include <cstdint>
#include <string>

// A line on stderr that counts frames, for people who watch a long run. It appears after a second,
// when stderr is a terminal, and is erased at the end.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // How many frames are to come, when nobody has said so before; 0 when that is not known.
    void expect(int64_t total);

    // The burst that is read from now on, of several.
    void beginBurst(size_t number, size_t count);

    void advance();

private:
    int64_t total_ = 0;
    std::string burst_;
    const bool terminal_;
    int64_t done_ = 0;
    bool shown_ = false;
    Clock::time_point due_;
};
