// SPDX-License-Identifier: BSD-2-Clause
#include "fuzz.h"

namespace ryxfuzz {

namespace {

struct Generator {
    uint32_t state;
    uint32_t operator()() { return state = state * 1664525 + 1013904223; }
    uint16_t word() { return static_cast<uint16_t>((*this)() >> 16); }
};

template <class T> void fillWith(std::span<uint8_t> octets, unsigned kind, Generator random) {
    const int shift = static_cast<int>(kind / 8 % 16);
    for (size_t i = 0; i < octets.size() / sizeof(T); i++) {
        T value;
        if constexpr (std::is_floating_point_v<T>) {
            value = static_cast<T>(static_cast<int16_t>(random.word()) >> shift);
            if (kind % 8 == 6) value = static_cast<T>(value * T{1e9});
        } else {
            const auto word = static_cast<int32_t>((random() & 0xFFFF0000U) | random.word());
            value = static_cast<T>((sizeof(T) == 4 ? word : word >> 16) >> (shift * static_cast<int>(sizeof(T)) / 2));
            if (kind % 8 == 7) value = static_cast<T>(word < 0 ? word : ~word); // one sign only
        }
        if (kind % 8 == 1) value = T{};
        std::memcpy(octets.data() + i * sizeof(T), &value, sizeof value);
    }
}

} // namespace

void fill(std::span<uint8_t> octets, size_t elementSize, bool isFloating, Input &input) {
    const unsigned kind = input.take<uint8_t>();
    const Generator random{input.take<uint16_t>() * 2654435761U + 1};
    if (kind % 8 == 0) return;
    if (isFloating)
        elementSize == sizeof(float) ? fillWith<float>(octets, kind, random) : fillWith<double>(octets, kind, random);
    else if (elementSize == 1)
        fillWith<uint8_t>(octets, kind, random);
    else
        elementSize == 2 ? fillWith<int16_t>(octets, kind, random) : fillWith<int32_t>(octets, kind, random);
}

} // namespace ryxfuzz
