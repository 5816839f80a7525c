// SPDX-License-Identifier: BSD-2-Clause
// Memory between two inaccessible pages, for tests that must notice one element too far.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

namespace ryxtest {

// Holds one block at a time. An access beyond the mapping is refused by the processor; a write that stays inside the
// mapping but misses the block changes the pattern around it, and isIntact() tells.
class GuardedBuffer {
public:
    static constexpr std::byte pattern{0xA5};

    GuardedBuffer() = default;
    explicit GuardedBuffer(size_t bytes, size_t slack = 0) { place(bytes, slack); }
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;
    ~GuardedBuffer();

    // A block that ends `slack` bytes in front of the rear page, filled with the pattern. The one before is gone.
    std::byte *place(size_t bytes, size_t slack = 0);
    // The same directly behind the front page.
    std::byte *placeAtFront(size_t bytes);

    template <class T> T *as() const { return reinterpret_cast<T *>(block_); }
    bool isIntact() const;
    // Whether the address lies in the mapping or in one of its inaccessible pages.
    bool contains(const void *address) const;

private:
    void reserve(size_t bytes);
    void fill();

    std::byte *mapping_ = nullptr; // inner_ bytes between the two pages
    size_t inner_ = 0;
    std::byte *block_ = nullptr;
    size_t bytes_ = 0;
};

// Runs the call and returns the address of the access that the processor refused, nothing when all went well. For
// an aligned access at an unaligned address the address is null. What the call had not finished stays undone.
std::optional<const void *> faultOf(const std::function<void()> &call);

} // namespace ryxtest
