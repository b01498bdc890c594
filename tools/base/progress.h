#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

using Clock = std::chrono::steady_clock;

// Where time went, of all threads together.
struct PhaseTimes {
    Clock::duration decoding{};
    Clock::duration conversion{};
    Clock::duration library{};

    PhaseTimes& operator+=(const PhaseTimes& other) {
        decoding += other.decoding;
        conversion += other.conversion;
        library += other.library;
        return *this;
    }
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

// A line on stderr that counts frames, or other `things`, for people who watch a long run. It
// appears after a second, when stderr is a terminal, and is erased at the end. Threads may share
// it. Without `things` it is silent.
class Progress {
public:
    explicit Progress(const char* things = "frames");
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // How many frames are to come, unless that was said before; 0 when it is not known.
    void expect(int64_t total);

    // The burst that is read from now on, of several.
    void beginBurst(size_t number, size_t count);

    void advance();

private:
    std::mutex mutex_;
    const char* const things_;
    std::optional<int64_t> total_;
    std::string burst_;
    const bool terminal_;
    int64_t done_ = 0;
    bool shown_ = false;
    Clock::time_point due_;
};
