// SPDX-License-Identifier: BSD-2-Clause
// Typed calls of the functions that vector files name. The prototypes come from the public header, so a vector that does
// not fit its function is refused instead of called.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "harness/vector_file.h"
#include "ryxsc.h"

namespace ryxtest {

template <class T> bool elementFits(const Argument &argument) {
    const ElementType &type = argument.type;
    if constexpr (std::is_arithmetic_v<T>) {
        const char kind = std::is_floating_point_v<T> ? 'f' : std::is_signed_v<T> ? 's' : 'u';
        return type.kind == kind && type.width == sizeof(T) && type.parts == 1;
    } else if constexpr (requires { sizeof(T); }) {
        return argument.bytes % sizeof(T) == 0; // a struct written as its elements
    } else {
        return true; // an opaque block
    }
}

template <class T> bool pointeeFits(const Argument &argument) {
    if (argument.role == Role::state) return true;
    const bool written = argument.role == Role::out || argument.role == Role::io || argument.role == Role::keep;
    return !(written && std::is_const_v<T>)&&elementFits<std::remove_const_t<T>>(argument);
}

template <class Parameter> bool fits(const Argument &argument) {
    if constexpr (std::is_pointer_v<Parameter>) {
        using Pointee = std::remove_pointer_t<Parameter>;
        if (argument.role == Role::value) return false;
        if (argument.role == Role::null) return true;
        if constexpr (std::is_pointer_v<Pointee>)
            return argument.rows > 0 && pointeeFits<std::remove_pointer_t<Pointee>>(argument);
        else
            return argument.rows == 0 && pointeeFits<Pointee>(argument);
    } else {
        return argument.role == Role::value && elementFits<Parameter>(argument);
    }
}

// Each argument of a call as the address of its data, scalars included.
using Addresses = std::span<void *const>;

template <class Parameter> Parameter passed(void *address) {
    if constexpr (std::is_pointer_v<Parameter>)
        return static_cast<Parameter>(address);
    else
        return *static_cast<const Parameter *>(address);
}

struct Function {
    // Why the arguments do not fit the prototype, empty when they do.
    std::function<std::string(std::span<const Argument>)> misfit;
    std::function<ryxStatus(Addresses)> call;

    template <class... Parameters> static Function of(ryxStatus (*function)(Parameters...)) {
        return of(function, std::index_sequence_for<Parameters...>());
    }
    // What returns no status, the version getter, cannot stand in a vector file.
    static Function of(const ryxLibraryVersion *(*)()) {
        return {[](std::span<const Argument>) { return "the function returns no status"; }, nullptr};
    }

private:
    template <class... Parameters, size_t... i>
    static Function of(ryxStatus (*function)(Parameters...), std::index_sequence<i...>) {
        const auto misfit = [](std::span<const Argument> given) -> std::string {
            if (given.size() != sizeof...(i)) return "takes " + std::to_string(sizeof...(i)) + " arguments";
            std::string unfit;
            ((unfit.empty() && !fits<Parameters>(given[i]) ? void(unfit = given[i].name) : void()), ...);
            return unfit.empty() ? unfit : unfit + " does not fit the prototype";
        };
        return {misfit, [function](Addresses given) { return function(passed<Parameters>(given[i])...); }};
    }
};

using Functions = std::map<std::string, Function, std::less<>>;

// Every export of the library, called through the shared object.
const Functions &libraryFunctions();

} // namespace ryxtest
