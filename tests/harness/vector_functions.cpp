// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_functions.h"

namespace ryxtest {

namespace {

bool isOfType(const ElementType &type, const Parameter &parameter) {
    return type.kind == parameter.element && type.width == parameter.width && type.parts == 1;
}

bool fits(const Argument &argument, const Parameter &parameter) {
    if (parameter.kind == Parameter::Kind::value)
        return argument.role == Role::value && isOfType(argument.type, parameter);
    if (argument.role == Role::value) return false;
    if (argument.role == Role::null) return true;
    if ((argument.rows > 0) != (parameter.kind == Parameter::Kind::rows)) return false;
    if (argument.role == Role::state) return true;
    if (argument.role != Role::in && !parameter.isWritable) return false;
    switch (parameter.element) {
    case 'o':
        return true;
    case 'c':
        return argument.bytes % parameter.width == 0;
    default:
        return isOfType(argument.type, parameter);
    }
}

} // namespace

std::string Function::misfit(std::span<const Argument> given) const {
    if (!returnsStatus()) return "the function returns no status";
    if (given.size() != parameters_.size()) return "takes " + std::to_string(parameters_.size()) + " arguments";
    for (size_t i = 0; i < given.size(); i++)
        if (!fits(given[i], parameters_[i])) return given[i].name + " does not fit the prototype";
    return {};
}

const Functions &libraryFunctions() {
    static const struct {
        const char *name;
        Function function;
    } exports[] = {
#define ONE(name) {#name, ::name},
#define TWO(name) ONE(name)
#include "frame/exports.def"
#undef ONE
#undef TWO
    };
    static const Functions functions = [] {
        Functions byName;
        for (const auto &[name, function] : exports)
            byName.emplace(name, function);
        return byName;
    }();
    return functions;
}

} // namespace ryxtest
