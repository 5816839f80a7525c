// SPDX-License-Identifier: BSD-2-Clause
#include "output_file.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace {

namespace fs = std::filesystem;

// Names of the temporary files of this process, for the signal handler. More files than slots are written correctly
// too; the surplus ones only stay behind after a signal.
std::array<std::atomic<const char *>, 8> pending;
static_assert(std::atomic<const char *>::is_always_lock_free);

void removePending(int signal) {
    for (const auto &name : pending)
        if (const char *path = name.load()) unlink(path);
    raise(signal); // SA_RESETHAND: the default action now
}

void handleSignals() {
    static const bool installed = [] {
        signal(SIGXFSZ, SIG_IGN); // a file that grows too large is an error of write(), not the end of the program
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action = {};
            sigaction(signal, nullptr, &action);
            if (action.sa_handler != SIG_DFL) continue; // ignored under nohup, or somebody else's
            action.sa_handler = removePending;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigaction(signal, &action, nullptr);
        }
        return true;
    }();
    static_cast<void>(installed);
}

void remember(const char *path) {
    for (auto &name : pending)
        if (const char *none = nullptr; name.compare_exchange_strong(none, path)) return;
}

void forget(const char *path) {
    for (auto &name : pending)
        if (const char *mine = path; name.compare_exchange_strong(mine, nullptr)) return;
}

// A link is followed, so that the file behind it is replaced and not the link.
fs::path behindLinks(const fs::path &path) {
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    return error ? path : resolved;
}

mode_t permissionsForNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const fs::path &target) : target_(target), place_(behindLinks(target)) {
    struct stat earlier;
    const bool exists = stat(place_.c_str(), &earlier) == 0;
    if (!exists && errno != ENOENT) fail(errno);
    if (exists && S_ISDIR(earlier.st_mode)) fail(EISDIR);
    if (exists && !S_ISREG(earlier.st_mode)) throw Failure("cannot write " + target.string() + ": not a regular file");
    if (exists && access(place_.c_str(), W_OK) != 0) fail(errno);

    temporary_ = (place_.parent_path() / ".unfinished-XXXXXX").string();
    handleSignals();
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail(errno);
    remember(temporary_.c_str());
    fchmod(descriptor_, exists ? earlier.st_mode & 0777 : permissionsForNewFiles());
}

OutputFile::~OutputFile() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(temporary_.c_str());
    forget(temporary_.c_str());
}

void OutputFile::write(std::span<const uint8_t> octets) {
    while (!octets.empty()) {
        const ssize_t written = ::write(descriptor_, octets.data(), octets.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(errno);
        octets = octets.subspan(static_cast<size_t>(written));
    }
}

void OutputFile::commit() {
    // Network file systems report a full disk only here.
    if (fsync(descriptor_) != 0 && errno != EINVAL) fail(errno);
    if (rename(temporary_.c_str(), place_.c_str()) != 0) fail(errno);
    close(descriptor_);
    descriptor_ = -1;
    forget(temporary_.c_str());
}

void OutputFile::fail(int error) const {
    throw Failure("cannot write " + target_.string() + ": " + strerror(error));
}

void writeOctets(const fs::path &target, std::span<const uint8_t> octets) {
    OutputFile file(target);
    file.write(octets);
    file.commit();
}
