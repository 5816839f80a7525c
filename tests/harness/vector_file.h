// SPDX-License-Identifier: BSD-2-Clause
// A vector file: recorded calls of exported functions with their arguments and what they must return and write.
//
//     block st 144 offset 4          a named block of 144 bytes, 4 above a 16-byte boundary, filled with 0xA5
//     call ryxsSomething_16s         starts a call; one argument a line follows, in argument order
//     in.16s   src    1 2 3          read-only data, unchanged after the call
//     in.16s   src@2  9 9 1 2 3      the pointer passed points to element 2 of the data: history in front
//     out.16s  dst    4 5 6          output: holds a pattern before the call and these values after it
//     io.16s   mem    0 0 -> 7 8     in place: values before and after
//     keep.16s dst    3              output of three elements that the call must not touch
//     null     dst                   null pointer
//     state    st                    pointer to a named block, whose content lives on from call to call
//     val.32s  len    3              scalar
//     rows.32fc x  3x5  v ...        array of pointers to rows; iorows.32fc x 3x5 v ... -> v ... in place
//     tol 1e-5 1e-6                  numbers of this call may differ by |a-b| <= 1e-6 + 1e-5*|expected|
//     status 0                       ends the call: what it must return
//
// Types: 8u 16s 16u 32s 32u 32f 64f and the complex 32sc 32fc, written re im re im. # starts a comment line.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ryxtest {

struct ElementType {
    std::string_view name;
    char kind;    // s: signed, u: unsigned, f: floating
    size_t width; // bytes of a number
    size_t parts; // numbers per element, 2 for complex

    size_t bytes() const { return width * parts; }
};

using Bytes = std::vector<std::byte>;

enum class Role { in, out, io, keep, null, state, value };

struct Argument {
    Role role;
    ElementType type;
    std::string name; // of the block, for a state
    int line;
    size_t history = 0; // elements in front of the one that the pointer points to
    size_t rows = 0;    // 0 for a plain vector
    size_t bytes = 0;   // of the data, all rows together
    Bytes before = {};  // content before the call, empty: a pattern
    Bytes after = {};   // content after the call, empty: unchanged
};

struct Tolerance {
    double relative = 0, absolute = 0;
};

struct Call {
    std::string function;
    int line;
    std::vector<Argument> arguments = {};
    bool exact = true;
    Tolerance tolerance = {};
    int status = 0;
};

struct Block {
    std::string name;
    size_t bytes, offset;
};

struct VectorFile {
    std::string name;
    std::vector<std::variant<Block, Call>> steps;
};

// Both throw std::runtime_error with file and line when the text breaks a rule above.
VectorFile parseVectors(const std::string &name, std::string_view text);
VectorFile readVectors(const std::string &path, const std::string &name);

} // namespace ryxtest
