#pragma once

#include "phase_times.h"

#include <cstdint>

// A line on stderr that counts frames, for people who watch a long run. It appears after a second,
// when stderr is a terminal, and is erased at the end.
class Progress {
public:
    explicit Progress(int64_t total); // 0 when not known
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance();

private:
    const int64_t total_;
    const bool terminal_;
    int64_t done_ = 0;
    bool shown_ = false;
    Clock::time_point due_;
};
