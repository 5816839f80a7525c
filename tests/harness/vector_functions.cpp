// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_functions.h"

namespace ryxtest {

const Functions &libraryFunctions() {
    static const Functions functions = {
#define ONE(name) {#name, Function::of(::name)},
#define TWO(name) ONE(name)
#include "frame/exports.def"
#undef ONE
#undef TWO
    };
    return functions;
}

} // namespace ryxtest
