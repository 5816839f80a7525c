// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_compare.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace ryxtest {

namespace {

// Exact for every type: the integers have 32 bits at most.
double numberAt(const ElementType &type, const std::byte *at) {
    const auto as = [at]<class T>(T value) {
        std::memcpy(&value, at, sizeof value);
        return static_cast<double>(value);
    };
    if (type.kind == 'f') return type.width == 4 ? as(float()) : as(double());
    if (type.width == 1) return as(uint8_t());
    if (type.width == 2) return type.kind == 's' ? as(int16_t()) : as(uint16_t());
    return type.kind == 's' ? as(int32_t()) : as(uint32_t());
}

} // namespace

std::string firstDifference(const ElementType &type, std::span<const std::byte> wanted, std::span<const std::byte> got,
                            const Tolerance *tolerance) {
    if (wanted.empty() || !std::memcmp(wanted.data(), got.data(), wanted.size())) return {};
    for (size_t i = 0; i < wanted.size(); i += type.width) {
        if (!std::memcmp(&wanted[i], &got[i], type.width)) continue;
        const double want = numberAt(type, &wanted[i]), have = numberAt(type, &got[i]);
        if (tolerance && std::abs(have - want) <= tolerance->absolute + tolerance->relative * std::abs(want)) continue;
        std::ostringstream text;
        text.precision(17);
        text << '[' << i / type.bytes() << ']'
             << (type.parts == 1    ? ""
                 : i % type.bytes() ? ".im"
                                    : ".re")
             << ": wanted " << want << ", got " << have;
        return text.str();
    }
    return {};
}

} // namespace ryxtest
