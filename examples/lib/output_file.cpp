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

bool endsTheProgram(int signal) {
    for (const int other : {SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG, SIGWINCH, SIGKILL})
        if (signal == other) return false;
    return true;
}

void handleSignals() {
    static const bool installed = [] {
        signal(SIGXFSZ, SIG_IGN); // a file that grows too large is an error of write(), not the end of the program
        for (int signal = 1; signal <= SIGRTMAX; signal++) {
            struct sigaction action = {};
            if (!endsTheProgram(signal) || sigaction(signal, nullptr, &action) != 0) continue;
            if (action.sa_handler != SIG_DFL) continue; // ignored under nohup, or somebody else's
            action.sa_handler = removePending;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigfillset(&action.sa_mask);
            sigaction(signal, &action, nullptr);
        }
        return true;
    }();
    static_cast<void>(installed);
}

// No signal between the making of a file and the note of its name.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

void remember(const char *path) {
    for (auto &name : pending)
        if (const char *none = nullptr; name.compare_exchange_strong(none, path)) return;
}

void forget(const char *path) {
    for (auto &name : pending)
        if (const char *mine = path; name.compare_exchange_strong(mine, nullptr)) return;
}

// Links are followed, so that the file behind them is replaced or made and not the link.
fs::path behindLinks(const fs::path &path) {
    std::error_code error;
    fs::path place = path;
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(place, error)); links++)
        place = place.parent_path() / fs::read_symlink(place, error); // an absolute one stands alone
    const fs::path folder = fs::canonical(place.has_parent_path() ? place.parent_path() : ".", error);
    return error ? place : folder / place.filename();
}

mode_t permissionsForNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

bool wouldBeTheSameFile(const fs::path &first, const fs::path &second) {
    std::error_code missing;
    return fs::equivalent(first, second, missing) || behindLinks(first) == behindLinks(second);
}

OutputFile::OutputFile(const fs::path &target) : target_(target), place_(behindLinks(target)) {
    struct stat earlier;
    const bool exists = stat(target.c_str(), &earlier) == 0;
    if (!exists && errno != ENOENT) fail(errno);
    if (exists && S_ISDIR(earlier.st_mode)) fail(EISDIR);
    if (exists && !S_ISREG(earlier.st_mode)) throw Failure("cannot write " + target.string() + ": not a regular file");
    if (exists && access(place_.c_str(), W_OK) != 0) fail(errno);

    temporary_ = (place_.parent_path() / ".unfinished-XXXXXX").string();
    handleSignals();
    {
        const SignalsHeld held;
        descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
        if (descriptor_ < 0) fail(errno);
        remember(temporary_.c_str());
    }
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
