// SPDX-License-Identifier: BSD-2-Clause
// Replays every vector file below the vector folder, one test per file, named after its family and the file.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>

#include "harness/vector_replay.h"
#include "ryxcore.h"

using namespace ryxtest;

namespace {

const std::filesystem::path folder = RYXSC_VECTORS;

std::vector<std::filesystem::path> vectorFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".txt") files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

VectorFile read(const std::filesystem::path &path) {
    return readVectors(path, path.lexically_relative(folder));
}

class Replay : public testing::Test {
public:
    explicit Replay(std::filesystem::path path) : path_(std::move(path)) {}

    void TestBody() override {
        const VectorFile file = read(path_);
        ASSERT_FALSE(file.steps.empty());
        for (int rotation = 0; rotation < rotations; ++rotation)
            ASSERT_EQ(replay(file, libraryFunctions(), rotation), "");
    }

private:
    std::filesystem::path path_;
};

TEST(Conformance, RunsTheVariantThatTheFeatureMaskAsksFor) {
    const bool wren = (ryxGetEnabledCpuFeatures() & 0x30) == 0x30;
    ASSERT_STREQ(ryxscGetLibVersion()->targetCpu, wren ? "n8" : "u8");
}

// A stage of a whole codec is replayed with the codec's streams, one of the echo canceller with its conversations.
std::set<std::string> primitivesOfCodecs() {
    std::set<std::string> names;
    std::FILE *const listing = popen("nm -D --undefined-only " RYXSC_LAYERS, "r");
    for (char name[256]; listing && std::fscanf(listing, "%255s", name) == 1;)
        if (std::string(name).starts_with("ryxs")) names.insert(name);
    if (listing) pclose(listing);
    return names;
}

// Others are compared with a plain form.
std::set<std::string> primitivesOfProperties() {
    std::set<std::string> names;
    const std::regex call("\\bryxs\\w+(?=\\()");
    for (const auto &entry : std::filesystem::directory_iterator(RYXSC_PROPERTIES)) {
        std::ifstream file(entry.path());
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        for (std::sregex_iterator match(text.begin(), text.end(), call), end; match != end; ++match)
            names.insert(match->str());
    }
    return names;
}

TEST(Conformance, EveryPrimitiveStandsInAVectorFileInACodecOrInAPropertyTest) {
    std::set<std::string> called = primitivesOfCodecs();
    called.merge(primitivesOfProperties());
    called.insert("ryxscGetLibVersion");
    for (const auto &path : vectorFiles())
        for (const auto &step : read(path).steps)
            if (const auto *call = std::get_if<Call>(&step)) called.insert(call->function);
    for (const auto &[name, function] : libraryFunctions())
        EXPECT_TRUE(called.contains(name)) << name;
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    for (const auto &path : vectorFiles()) {
        const std::string family = path.parent_path().filename();
        testing::RegisterTest(family.c_str(), path.stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [path] { return new Replay(path); });
    }
    std::printf("Variant in use: %s\n", ryxscGetLibVersion()->name);
    return RUN_ALL_TESTS();
}
