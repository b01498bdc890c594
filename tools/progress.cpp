#include "progress.h"

#include <cstdio>
#include <unistd.h>

Progress::Progress()
    : terminal_(isatty(STDERR_FILENO) == 1), due_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (shown_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::expect(int64_t total) { total_ = total_ > 0 ? total_ : total; }

void Progress::beginBurst(size_t number, size_t count) {
    burst_ = "burst " + std::to_string(number) + " of " + std::to_string(count) + ", ";
}

void Progress::advance() {
    ++done_;
    if (!terminal_ || Clock::now() < due_)
        return;
    const std::string of = total_ > 0 ? " of " + std::to_string(total_) : "";
    std::fprintf(stderr, "\r\x1b[K%s%lld%s frames", burst_.c_str(), static_cast<long long>(done_),
                 of.c_str());
    std::fflush(stderr);
    shown_ = true;
    due_ = Clock::now() + std::chrono::milliseconds(200);
}
