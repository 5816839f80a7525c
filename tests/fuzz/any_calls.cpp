// SPDX-License-Identifier: BSD-2-Clause
// Calls of any function with any arguments, made from the list of exports and the prototypes. Vectors get memory of their
// own with any content, numbers are any that the memory has room for, states come from the Init functions of their type
// and live on from call to call. A call that fails must have written nothing; where the variants have implementations of
// their own, both must give the same.
#include <algorithm>
#include <array>
#include <tuple>
#include <type_traits>
#include <utility>

#include "fuzz.h"

namespace ryxfuzz {

namespace {

// Vectors begin inside their memory, because many functions read what lies in front.
constexpr size_t vectorRoom = 1 << 15, vectorStart = 1 << 13;
constexpr size_t stateRoom = 1 << 18;
constexpr size_t rows = 700, differentRows = 8;

template <class T> constexpr bool isVectorElement =
    std::is_arithmetic_v<T> || std::is_same_v<T, ryx32fc> || std::is_same_v<T, ryx32sc> || std::is_void_v<T>;

struct Room {
    alignas(64) std::array<uint8_t, vectorRoom> octets;
};
std::array<Room, 24> vectors; // by the place of the argument
std::array<std::array<void *, rows>, 24> rowPointers;
std::array<std::array<Room, differentRows>, 24> rowVectors;

// The state of a type: opaque to callers, so it is only ever what the functions made of it.
template <class S> struct State {
    alignas(64) static inline std::array<uint8_t, stateRoom> octets;
    static inline bool isReady;
};
std::vector<bool *> readyFlags;

template <class T> void fillVector(Room &room, Input &input) {
    if constexpr (std::is_void_v<T>)
        fill(room.octets, 1, false, input);
    else if constexpr (std::is_same_v<T, ryx32fc> || std::is_same_v<T, ryx32sc>)
        fill(room.octets, 4, std::is_same_v<T, ryx32fc>, input);
    else
        fill(room.octets, sizeof(T), std::is_floating_point_v<T>, input);
}

// Numbers are lengths mostly: those that the memory has no room for are left out, for no function can know that.
int number(Input &input) {
    const auto kind = input.take<uint8_t>();
    const auto value = input.take<uint16_t>();
    if (kind < 16) return -1;
    if (kind < 20) return INT32_MIN + value;
    if (kind < 140) return value % 64;
    if (kind < 200) return value % 33;
    if (kind < 220) return value % 4;
    static constexpr int common[] = {10, 16, 40, 60, 64, 80, 128, 160, 240, 256, 320, 640};
    return common[value % std::size(common)];
}

struct Used {
    std::span<uint8_t> memory;
    std::vector<uint8_t> before;
};

class Call {
public:
    Call(const std::string &name, Input &input, int largest) : name_(name), input_(input), largest_(largest) {}

    template <class Parameter> Parameter give(size_t place) {
        if constexpr (std::is_pointer_v<Parameter>) {
            using Pointee = std::remove_cv_t<std::remove_pointer_t<Parameter>>;
            if (input_.take<uint8_t>() == 255) return nullptr;
            if constexpr (std::is_pointer_v<Pointee>) {
                for (size_t i = 0; i < rows; i++)
                    rowPointers[place][i] = giveRow<Pointee>(rowVectors[place][i % differentRows], i);
                return reinterpret_cast<Parameter>(rowPointers[place].data());
            } else if constexpr (isVectorElement<Pointee>) {
                fillVector<Pointee>(vectors[place], input_);
                use(vectors[place].octets);
                return reinterpret_cast<Parameter>(vectors[place].octets.data() + vectorStart);
            } else {
                constexpr bool isConstant = std::is_const_v<std::remove_pointer_t<Parameter>>;
                auto &state = State<Pointee>::octets;
                if (initialises() && !isConstant)
                    ready_ = &State<Pointee>::isReady;
                else if (!State<Pointee>::isReady)
                    isPossible_ = false;
                use(state);
                return reinterpret_cast<Parameter>(state.data());
            }
        } else if constexpr (std::is_same_v<Parameter, int>) {
            return std::min(number(input_), largest_);
        } else if constexpr (std::is_floating_point_v<Parameter>) {
            return static_cast<Parameter>(input_.take<int16_t>()) / (Parameter{1} + input_.take<uint8_t>());
        } else {
            return input_.take<Parameter>();
        }
    }

    bool isPossible() const { return isPossible_; }
    void restore() {
        for (Used &used : used_)
            std::memcpy(used.memory.data(), used.before.data(), used.before.size());
    }
    void remember() {
        for (Used &used : used_)
            used.before.assign(used.memory.begin(), used.memory.end());
    }
    bool isUnchanged() const {
        return std::ranges::all_of(used_, [](const Used &used) {
            return std::memcmp(used.memory.data(), used.before.data(), used.before.size()) == 0;
        });
    }
    void finish(ryxStatus status) {
        if (status >= 0 && ready_ != nullptr) {
            *ready_ = true;
            readyFlags.push_back(ready_);
        }
    }

private:
    bool initialises() const { return name_.find("Init_") != name_.npos; }
    void use(std::span<uint8_t> memory) { used_.push_back({memory, {memory.begin(), memory.end()}}); }
    template <class Row> void *giveRow(Room &room, size_t i) {
        using Pointee = std::remove_cv_t<std::remove_pointer_t<Row>>;
        if (i < differentRows) {
            fillVector<Pointee>(room, input_);
            use(room.octets);
        }
        return room.octets.data() + vectorStart;
    }

    const std::string &name_;
    Input &input_;
    int largest_;
    std::vector<Used> used_;
    bool isPossible_ = true;
    bool *ready_ = nullptr;
};

// The order of a filter bank's transform is an exponent of two.
int largestNumber(const std::string &name) {
    return name.starts_with("ryxsSubbandProcess") ? 8 : 640;
}

template <class... Parameters, size_t... i> void call(const std::string &name, bool differs,
                                                      ryxStatus (*function)(Parameters...), Input &input,
                                                      std::index_sequence<i...>) {
    Call call(name, input, largestNumber(name));
    const std::tuple<Parameters...> arguments{call.give<Parameters>(i)...};
    if (!call.isPossible()) return;
    static const bool isTold = std::getenv("RYXSC_FUZZ_TELL") != nullptr;
    if (isTold) std::fprintf(stderr, "%s\n", name.c_str());
    ryxscVariant = 0;
    const ryxStatus status = std::apply(function, arguments);
    demandStatus(status, name);
    if (status < 0) demand(call.isUnchanged(), name + " failed and wrote");
    if (differs) {
        Call after = call;
        after.remember();
        call.restore();
        ryxscVariant = 1;
        demand(std::apply(function, arguments) == status, name + ": the variants' statuses differ");
        demand(after.isUnchanged(), name + ": the variants' results differ");
    }
    call.finish(status);
}

template <class... Parameters>
void call(const std::string &name, bool differs, ryxStatus (*function)(Parameters...), Input &input) {
    call(name, differs, function, input, std::index_sequence_for<Parameters...>());
}
void call(const std::string &, bool, const ryxLibraryVersion *(*function)(), Input &) {
    demand(function() != nullptr, "no version record");
}

using Caller = void (*)(Input &);
constexpr Caller callers[] = {
#define ONE(name) [](Input &input) { call(#name, false, name, input); },
#define TWO(name) [](Input &input) { call(#name, true, name, input); },
#include "frame/exports.def"
#undef ONE
#undef TWO
};

} // namespace

void anyCalls(std::span<const uint8_t> octets, int) {
    for (bool *flag : readyFlags)
        *flag = false;
    readyFlags.clear();
    for (Input input(octets); !input.isEmpty();)
        callers[input.take<uint16_t>() % std::size(callers)](input);
}

} // namespace ryxfuzz
