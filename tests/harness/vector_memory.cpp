// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_memory.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "harness/vector_compare.h"

namespace ryxtest {

namespace {

const ElementType octets{"8u", 'u', 1, 1};

// An error leaves states alone, but for the one that is documented to change the block it complains about.
bool statesMustStay(const Call &call) {
    return call.status < 0 && !(call.function == "ryxsSBADPCMDecodeStateUpdate_G722_16s" && call.status == -11);
}

} // namespace

void CallMemory::makeBlock(const Block &block) {
    NamedBlock &named = blocks_[block.name];
    named.bytes = block.bytes;
    // As near to the page as the offset lets it be.
    named.buffer.place(block.bytes, (16 - (block.bytes + block.offset) % 16) % 16);
}

std::vector<void *> CallMemory::lay(const Call &call) {
    used_ = 0;
    pieces_.clear();
    std::vector<void *> addresses;
    for (const Argument &argument : call.arguments) {
        if (argument.role == Role::null)
            addresses.push_back(nullptr);
        else if (argument.role == Role::state)
            addresses.push_back(layBlock(argument, statesMustStay(call)));
        else if (argument.rows)
            addresses.push_back(layRows(argument));
        else
            addresses.push_back(layVector(argument, 0, argument.bytes));
    }
    return addresses;
}

void *CallMemory::layVector(const Argument &argument, size_t row, size_t bytes) {
    GuardedBuffer &buffer = nextBuffer();
    const size_t slack = static_cast<size_t>(rotation_) * argument.type.bytes();
    std::byte *data = rotation_ == rotations - 1 ? buffer.placeAtFront(bytes) : buffer.place(bytes, slack);
    const size_t from = row * bytes;
    // The filling differs from rotation to rotation, so it is the right result in one of them at most.
    if (argument.before.empty())
        std::memset(data, 0x51 + 27 * rotation_, bytes);
    else
        std::copy_n(&argument.before[from], bytes, data);
    const std::byte *wanted = argument.after.empty() ? data : &argument.after[from];
    const std::string suffix = argument.rows ? " row " + std::to_string(row) : "";
    pieces_.push_back({&argument, &buffer, data, Bytes(wanted, wanted + bytes), suffix, argument.after.empty()});
    return data + argument.history * argument.type.bytes();
}

void *CallMemory::layRows(const Argument &argument) {
    std::vector<void *> rows(argument.rows);
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i] = layVector(argument, i, argument.bytes / rows.size());
    GuardedBuffer &buffer = nextBuffer();
    const auto array = std::as_bytes(std::span(rows));
    std::byte *data = buffer.place(array.size());
    std::ranges::copy(array, data);
    pieces_.push_back({&argument, &buffer, data, Bytes(array.begin(), array.end()), " row pointers", true});
    return data;
}

void *CallMemory::layBlock(const Argument &argument, bool mustStay) {
    const NamedBlock &named = blocks_.at(argument.name);
    auto *data = named.buffer.as<std::byte>();
    pieces_.push_back({&argument, &named.buffer, data, mustStay ? Bytes(data, data + named.bytes) : Bytes(), "", true});
    return data;
}

GuardedBuffer &CallMemory::nextBuffer() {
    if (used_ == buffers_.size()) buffers_.emplace_back();
    return buffers_[used_++];
}

CallMemory::Difference CallMemory::check(const Call &call) const {
    for (const Piece &piece : pieces_) {
        const Argument &argument = *piece.argument;
        const ElementType &type = piece.suffix == " row pointers" ? octets : argument.type;
        const Tolerance *tolerance = call.exact || piece.exact ? nullptr : &call.tolerance;
        auto text = firstDifference(type, piece.wanted, {piece.data, piece.wanted.size()}, tolerance);
        if (text.empty() && !piece.buffer->isIntact()) text = ": memory around it was written";
        if (!text.empty()) return {argument.name + piece.suffix + text, argument.line};
    }
    return {};
}

const Argument *CallMemory::owner(const void *address) const {
    const auto piece = std::ranges::find_if(pieces_, [&](const Piece &p) { return p.buffer->contains(address); });
    return piece == pieces_.end() ? nullptr : piece->argument;
}

} // namespace ryxtest
