// SPDX-License-Identifier: BSD-2-Clause
// With clang's libFuzzer: the target that the environment variable RYXSC_FUZZ_TARGET names, "list" for all. Otherwise a program of its own:
//
//     ryxsc_fuzz                      names of the targets
//     ryxsc_fuzz TARGET COUNT [SEED]  so many inputs of random octets; the same seed, the same inputs
//     ryxsc_fuzz TARGET FILE          one input, from a file
#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz.h"

namespace {

const ryxfuzz::Target &find(const std::string &name) {
    static const std::vector<ryxfuzz::Target> all = ryxfuzz::targets();
    const auto found = std::ranges::find(all, name, &ryxfuzz::Target::name);
    if (found == all.end()) ryxfuzz::fail("no such target: " + name);
    return *found;
}

} // namespace

#ifdef RYXSC_LIBFUZZER

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *octets, size_t count) {
    static const char *const name = std::getenv("RYXSC_FUZZ_TARGET");
    if (name != nullptr && std::string(name) == "list") {
        for (const ryxfuzz::Target &target : ryxfuzz::targets())
            std::puts(target.name.c_str());
        std::fflush(stdout);
        std::_Exit(0); // libFuzzer takes any other end for a fault
    }
    static const ryxfuzz::Target &target = find(name != nullptr ? name : "calls");
    target.run({octets, count}, target.which);
    return 0;
}

#else

int main(int count, char **words) {
    if (count < 3) {
        for (const ryxfuzz::Target &target : ryxfuzz::targets())
            std::puts(target.name.c_str());
        return 0;
    }
    const ryxfuzz::Target &target = find(words[1]);
    if (std::ifstream file(words[2], std::ios::binary); file) {
        const std::vector<uint8_t> octets{std::istreambuf_iterator<char>(file), {}};
        target.run(octets, target.which);
        return 0;
    }
    const int inputs = std::atoi(words[2]);
    std::mt19937 random(count > 3 ? static_cast<unsigned>(std::atoi(words[3])) : 1);
    for (int i = 0; i < inputs; i++) {
        std::vector<uint8_t> octets(random() % 2000);
        std::ranges::generate(octets, [&] { return static_cast<uint8_t>(random() >> 24); });
        target.run(octets, target.which);
    }
    std::printf("%s: %d inputs\n", words[1], inputs);
    return 0;
}

#endif
