// SPDX-License-Identifier: BSD-2-Clause
#include "harness/guarded_buffer.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace ryxtest {

namespace {

constexpr size_t page = 4096;

bool isPattern(const std::byte *from, const std::byte *to) {
    return from == to || (*from == GuardedBuffer::pattern && !std::memcmp(from, from + 1, size_t(to - from) - 1));
}

thread_local sigjmp_buf beforeCall;
thread_local const void *volatile faultAddress;

void leaveCall(int, siginfo_t *info, void *) {
    faultAddress = info->si_addr;
    siglongjmp(beforeCall, 1);
}

} // namespace

GuardedBuffer::~GuardedBuffer() {
    if (mapping_) munmap(mapping_ - page, inner_ + 2 * page);
}

std::byte *GuardedBuffer::place(size_t bytes, size_t slack) {
    reserve(bytes + slack);
    block_ = mapping_ + inner_ - slack - bytes;
    bytes_ = bytes;
    fill();
    return block_;
}

std::byte *GuardedBuffer::placeAtFront(size_t bytes) {
    reserve(bytes);
    block_ = mapping_;
    bytes_ = bytes;
    fill();
    return block_;
}

bool GuardedBuffer::isIntact() const {
    return isPattern(mapping_, block_) && isPattern(block_ + bytes_, mapping_ + inner_);
}

bool GuardedBuffer::contains(const void *address) const {
    return mapping_ && address >= mapping_ - page && address < mapping_ + inner_ + page;
}

// A much larger mapping than the block needs would only make filling and checking slow.
void GuardedBuffer::reserve(size_t bytes) {
    const size_t needed = std::max(page, (bytes + page - 1) / page * page);
    if (inner_ >= needed && inner_ <= needed + 4 * page) return;
    if (mapping_) munmap(mapping_ - page, inner_ + 2 * page);
    void *pages = mmap(nullptr, needed + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    mapping_ = static_cast<std::byte *>(pages) + page;
    inner_ = needed;
    if (mprotect(mapping_, inner_, PROT_READ | PROT_WRITE)) throw std::bad_alloc();
}

void GuardedBuffer::fill() {
    std::memset(mapping_, std::to_integer<int>(pattern), inner_);
}

std::optional<const void *> faultOf(const std::function<void()> &call) {
    struct sigaction ours = {}, earlier[2];
    ours.sa_sigaction = leaveCall;
    ours.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &ours, &earlier[0]);
    sigaction(SIGBUS, &ours, &earlier[1]);
    const bool faulted = sigsetjmp(beforeCall, 1) != 0;
    if (!faulted) call();
    sigaction(SIGSEGV, &earlier[0], nullptr);
    sigaction(SIGBUS, &earlier[1], nullptr);
    return faulted ? std::optional(const_cast<const void *>(faultAddress)) : std::nullopt;
}

} // namespace ryxtest
