// SPDX-License-Identifier: BSD-2-Clause
// A line that shows how far long work has come.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/**
 * @brief Progress in percent on standard error.
 *
 * Shown only when standard error is a terminal and the work takes longer than a second; erased by the destructor.
 */
class Progress {
public:
    /** @param what the work, "encoding"; @param total amount of work in any unit */
    Progress(std::string what, size_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /** @param done amount of work done so far; cheap enough to be called for every block */
    void update(size_t done);

private:
    using Clock = std::chrono::steady_clock;

    std::string what_;
    size_t total_;
    bool terminal_;
    bool shown_ = false;
    Clock::time_point next_;
};
