// SPDX-License-Identifier: BSD-2-Clause
// Guarded memory for the arguments of one call after the other.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "harness/guarded_buffer.h"
#include "harness/vector_file.h"

namespace ryxtest {

// Ways to lay the buffers of a file. Up to the last but one they end that many elements in front of the inaccessible
// page, so that the alignment rotates; in the last they begin right behind one.
inline constexpr int rotations = 9;

class CallMemory {
public:
    explicit CallMemory(int rotation) : rotation_(rotation) {}

    void makeBlock(const Block &block);

    // Lays the arguments and returns an address for each.
    std::vector<void *> lay(const Call &call);
    // After the call: the first difference from what the memory must hold, with the argument's name and its line.
    struct Difference {
        std::string text;
        int line = 0;
    };
    Difference check(const Call &call) const;
    // The argument in or next to whose memory the address lies, null for none.
    const Argument *owner(const void *address) const;

private:
    struct NamedBlock {
        GuardedBuffer buffer;
        size_t bytes = 0;
    };
    // A piece of memory that one argument has in a call: the vector, a row, the array of pointers to rows.
    struct Piece {
        const Argument *argument;
        const GuardedBuffer *buffer;
        std::byte *data;
        Bytes wanted; // empty: anything
        std::string suffix;
        bool exact;
    };

    void *layVector(const Argument &argument, size_t row, size_t bytes);
    void *layRows(const Argument &argument);
    void *layBlock(const Argument &argument, bool mustStay);
    GuardedBuffer &nextBuffer();

    int rotation_;
    std::map<std::string, NamedBlock> blocks_;
    std::deque<GuardedBuffer> buffers_;
    size_t used_ = 0;
    std::vector<Piece> pieces_;
};

} // namespace ryxtest
