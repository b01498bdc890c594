#pragma once

#include <chrono>

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
