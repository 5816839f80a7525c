// SPDX-License-Identifier: BSD-2-Clause
// Pictures drawn by gnuplot.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

/** Throws Failure when gnuplot is not installed. */
void requireGnuplot();

/** One PNG picture, twice as fine as its size in the page says. All members throw Failure. */
class Gnuplot {
public:
    /** @param width, height size in the page, in CSS pixels */
    Gnuplot(const std::filesystem::path &png, int width, int height);

    /** Sends a line of gnuplot's language. */
    Gnuplot &operator<<(const std::string &line);

    /** Sends binary data behind a line that plots '-' as binary. */
    void send(std::span<const float> values);

    /** Waits until the picture is complete. */
    void finish();

private:
    std::filesystem::path png_;
    std::unique_ptr<FILE, int (*)(FILE *)> pipe_;
};

/** A number for gnuplot; NaN leaves a gap in a line. */
std::string number(double value);
