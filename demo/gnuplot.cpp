// SPDX-License-Identifier: BSD-2-Clause
#include "gnuplot.h"

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>

#include "lib/failure.h"

namespace {

constexpr int finesse = 2;

std::string quoted(const std::string &text) {
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? "''" : std::string(1, c);
    return result + "'";
}

// gnuplot does not notice a full disk; the picture then lacks its end.
bool isCompletePng(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    char end[8] = {}; // the name of the last chunk and its checksum
    file.seekg(-static_cast<std::streamoff>(sizeof end), std::ios::end).read(end, sizeof end);
    return file && std::memcmp(end, "IEND", 4) == 0;
}

} // namespace

void requireGnuplot() {
    // A write to a gnuplot that has ended shall come back as an error.
    std::signal(SIGPIPE, SIG_IGN);
    if (std::system("gnuplot -e 'set terminal pngcairo' >/dev/null 2>&1") != 0)
        throw Failure("gnuplot, which draws the pictures, does not run; install the Debian package gnuplot-nox");
}

Gnuplot::Gnuplot(const std::filesystem::path &png, int width, int height)
    : png_(png), pipe_(popen("exec env LC_ALL=C.UTF-8 gnuplot", "w"), pclose) {
    if (!pipe_) throw Failure(std::string("cannot start gnuplot: ") + strerror(errno));
    *this << "set terminal pngcairo rounded size " + std::to_string(finesse * width) + "," +
                 std::to_string(finesse * height) + " font 'DejaVu Sans,9' fontscale " + std::to_string(finesse) +
                 " linewidth " + std::to_string(finesse) + " background '#ffffff'"
          << "set output " + quoted(png.string());
}

Gnuplot &Gnuplot::operator<<(const std::string &line) {
    std::fputs((line + "\n").c_str(), pipe_.get());
    return *this;
}

void Gnuplot::send(std::span<const float> values) {
    std::fwrite(values.data(), sizeof(float), values.size(), pipe_.get());
}

void Gnuplot::finish() {
    const bool written = std::fflush(pipe_.get()) == 0 && !std::ferror(pipe_.get());
    const int status = pclose(pipe_.release());
    if (!written || status != 0 || !isCompletePng(png_)) throw Failure("gnuplot could not draw " + png_.string());
}

std::string number(double value) {
    if (std::isnan(value)) return "NaN";
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}
