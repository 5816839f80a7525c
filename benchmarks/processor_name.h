// SPDX-License-Identifier: BSD-2-Clause
// The processor as it names itself, for tables of measurements.
#pragma once

#include <cpuid.h>
#include <cstring>
#include <string>

namespace ryxsc::bench {

inline std::string processorName() {
    unsigned words[12] = {};
    for (unsigned i = 0; i < 3; i++)
        __get_cpuid(0x80000002 + i, &words[4 * i], &words[4 * i + 1], &words[4 * i + 2], &words[4 * i + 3]);
    char name[sizeof words + 1] = {};
    std::memcpy(name, words, sizeof words);
    const std::string text = name;
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

} // namespace ryxsc::bench
