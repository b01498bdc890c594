#include "base/progress.h"

#include <fmt/format.h>

#include <cstdio>
#include <unistd.h>

Progress::Progress(const char* things)
    : things_(things), terminal_(things != nullptr && isatty(STDERR_FILENO) == 1),
      due_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (shown_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::expect(int64_t total) {
    const std::scoped_lock lock(mutex_);
    total_ = total_.value_or(total);
}

void Progress::beginBurst(size_t number, size_t count) {
    const std::scoped_lock lock(mutex_);
    burst_ = fmt::format("burst {} of {}, ", number, count);
}

void Progress::advance() {
    const std::scoped_lock lock(mutex_);
    ++done_;
    if (!terminal_ || Clock::now() < due_)
        return;
    const std::string of = total_.value_or(0) > 0 ? fmt::format(" of {}", *total_) : "";
    std::fputs(fmt::format("\r\x1b[K{}{}{} {}", burst_, done_, of, things_).c_str(), stderr);
    std::fflush(stderr);
    shown_ = true;
    due_ = Clock::now() + std::chrono::milliseconds(200);
}
