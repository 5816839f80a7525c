// SPDX-License-Identifier: BSD-2-Clause
// Typed calls of the functions that vector files name. The prototypes come from the public header, so a vector that does
// not fit its function is refused instead of called.
//
// Only a description and a call are made from every prototype; all else is ordinary code, for the compiler's sake.
#pragma once

#include <array>
#include <map>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "harness/vector_file.h"
#include "ryxsc.h"

namespace ryxtest {

struct Parameter {
    enum class Kind { value, pointer, rows };

    Kind kind;
    bool isWritable; // what the pointer leads to
    char element;    // s: signed, u: unsigned, f: floating, c: a struct written as its elements, o: an opaque block
    size_t width;    // bytes of an element

    template <class T> static constexpr Parameter of() {
        if constexpr (!std::is_pointer_v<T>)
            return describe<T>(Kind::value);
        else if constexpr (std::is_pointer_v<std::remove_pointer_t<T>>)
            return describe<std::remove_pointer_t<std::remove_pointer_t<T>>>(Kind::rows);
        else
            return describe<std::remove_pointer_t<T>>(Kind::pointer);
    }

private:
    template <class T> static constexpr Parameter describe(Kind kind) {
        constexpr bool isWritable = !std::is_const_v<T>;
        if constexpr (std::is_floating_point_v<T>)
            return {kind, isWritable, 'f', sizeof(T)};
        else if constexpr (std::is_arithmetic_v<T>)
            return {kind, isWritable, std::is_signed_v<T> ? 's' : 'u', sizeof(T)};
        else if constexpr (requires { sizeof(T); })
            return {kind, isWritable, 'c', sizeof(T)};
        else
            return {kind, isWritable, 'o', 1};
    }
};

// Each argument of a call as the address of its data, scalars included.
using Addresses = std::span<void *const>;

class Function {
public:
    template <class... Types> Function(ryxStatus (*function)(Types...))
        : parameters_(described<Types...>), function_(reinterpret_cast<Any>(function)),
          call_([](Any any, Addresses given) {
              return callAs<Types...>(any, given, std::index_sequence_for<Types...>());
          }) {}
    // What returns no status, the version getter, cannot stand in a vector file.
    Function(const ryxLibraryVersion *(*)()) {}

    bool returnsStatus() const { return call_ != nullptr; }
    std::span<const Parameter> parameters() const { return parameters_; }

    // Why the arguments do not fit the prototype, empty when they do.
    std::string misfit(std::span<const Argument> given) const;

    ryxStatus call(Addresses given) const { return call_(function_, given); }

private:
    using Any = void (*)();

    template <class... Types>
    static constexpr std::array<Parameter, sizeof...(Types)> described = {Parameter::of<Types>()...};

    template <class Type> static Type passed(void *address) {
        if constexpr (std::is_pointer_v<Type>)
            return static_cast<Type>(address);
        else
            return *static_cast<const Type *>(address);
    }
    template <class... Types, size_t... i>
    static ryxStatus callAs(Any any, Addresses given, std::index_sequence<i...>) {
        return reinterpret_cast<ryxStatus (*)(Types...)>(any)(passed<Types>(given[i])...);
    }

    std::span<const Parameter> parameters_ = {};
    Any function_ = nullptr;
    ryxStatus (*call_)(Any, Addresses) = nullptr;
};

using Functions = std::map<std::string, Function, std::less<>>;

// Every export of the library, called through the shared object.
const Functions &libraryFunctions();

} // namespace ryxtest
