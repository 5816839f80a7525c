// SPDX-License-Identifier: BSD-2-Clause
#include "progress.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

Progress::Progress(std::string what, size_t total)
    : what_(std::move(what)), total_(total), terminal_(isatty(STDERR_FILENO) == 1),
      next_(Clock::now() + std::chrono::seconds(1)) {
}

Progress::~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
}

void Progress::update(size_t done) {
    if (!terminal_ || total_ == 0) return;
    const auto now = Clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    shown_ = true;
    const double percent = 100.0 * static_cast<double>(done) / static_cast<double>(total_);
    std::fprintf(stderr, "\r%s %3.0f %%\033[K", what_.c_str(), percent);
}
