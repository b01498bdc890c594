#include "progress.h"

#include <cstdio>
#include <string>
#include <unistd.h>

Progress::Progress(int64_t total)
    : total_(total), terminal_(isatty(STDERR_FILENO) == 1),
      due_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (shown_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::advance() {
    ++done_;
    if (!terminal_ || Clock::now() < due_)
        return;
    const std::string of = total_ > 0 ? " of " + std::to_string(total_) : "";
    std::fprintf(stderr, "\r\x1b[K%lld%s frames", static_cast<long long>(done_), of.c_str());
    std::fflush(stderr);
    shown_ = true;
    due_ = Clock::now() + std::chrono::milliseconds(200);
}
