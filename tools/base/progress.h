#pragma once

#include <chrono>
#include <cstdint>
#include <string>

using Clock = std::chrono::steady_clock;

// Where the time of a run went.
struct PhaseTimes {
    Clock::time_point start = Clock::now();
    Clock::duration decoding{};
    Clock::duration conversion{};
    Clock::duration library{};
};

// Adds the time of its scope to one phase.
class PhaseTimer {
public:
    explicit PhaseTimer(Clock::duration& phase) : phase_(phase) {}
    ~PhaseTimer() { phase_ += Clock::now() - start_; }
    PhaseTimer(const PhaseTimer&) = delete;
    PhaseTimer& operator=(const PhaseTimer&) = delete;

private:
    Clock::duration& phase_;
    Clock::time_point start_ = Clock::now();
};

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
