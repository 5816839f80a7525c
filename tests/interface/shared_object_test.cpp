// SPDX-License-Identifier: BSD-2-Clause
// The shared object as others see it: names, dependencies, hardening, instructions.
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>

#include "probe.h"

namespace {

using Names = std::set<std::string>;

const std::string library = RYXSC_LIBRARY;

// First capture of every match.
Names matches(const std::string &text, const char *pattern) {
    const std::regex regex(pattern);
    Names names;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
        names.insert((*match)[1]);
    return names;
}

Names definedSymbols(const std::string &path) {
    return matches(outputOf("nm -D --defined-only '" + path + "'"), "\\w+ [A-Z] (\\S+)");
}

Names declaredFunctions(const std::filesystem::path &header) {
    if (is_directory(header)) {
        Names names;
        for (const auto &entry : std::filesystem::directory_iterator(header))
            names.merge(declaredFunctions(entry.path()));
        return names;
    }
    std::ifstream stream(header);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    for (size_t from; (from = text.find("/*")) != text.npos;)
        text.erase(from, text.find("*/", from) + 2 - from);
    text = std::regex_replace(text, std::regex("static inline [^(]*\\("), ""); // the headers' own code
    return matches(text, "\\b(ryx\\w+)\\(");
}

TEST(SharedObject, ExportsExactlyTheListAndTheHeader) {
    const Names listed = {
#define ONE(name) #name,
#define TWO(name) #name,
#include "frame/exports.def"
#undef ONE
#undef TWO
    };
    EXPECT_EQ(definedSymbols(library), listed);
    EXPECT_EQ(declaredFunctions(RYXSC_HEADERS "/ryxsc"), listed);
}

TEST(SharedObject, TheOtherLibrariesExportExactlyTheirHeaders) {
    EXPECT_EQ(definedSymbols(RYXSC_CORE_LIBRARY), declaredFunctions(RYXSC_HEADERS "/ryxcore.h"));
    EXPECT_EQ(definedSymbols(RYXSC_CODEC_LIBRARY), declaredFunctions(RYXSC_CODEC_HEADER));
    EXPECT_EQ(definedSymbols(RYXSC_ECHO_LIBRARY), declaredFunctions(RYXSC_ECHO_HEADER));
}

// These libraries stand on the primitives and a few functions of libc and libm; nothing in them is written after loading.
void expectLittleIsNeeded(const std::string &path, const Names &needed, Names allowed) {
    EXPECT_EQ(matches(outputOf("readelf -dW '" + path + "'"), "NEEDED.*\\[(.*)\\]"), needed);
    allowed.merge(definedSymbols(library));
    for (const auto &name : matches(outputOf("nm -D --undefined-only '" + path + "'"), " U ([^@\\s]+)"))
        EXPECT_TRUE(allowed.contains(name)) << name;
    for (const auto &size : matches(outputOf("size -A -d '" + path + "'"), "\\.t?(?:data|bss) +(\\d+)"))
        EXPECT_LE(std::stoi(size), 8);
}

TEST(SharedObject, WholeCodecsAndCancellersNeedThePrimitivesAndALittleOfLibc) {
    expectLittleIsNeeded(
        RYXSC_CODEC_LIBRARY, {"libryxscu8.so.8.2", "libc.so.6"},
        {"memcpy", "memmove", "memset", "memcmp", "strcmp", "strncmp", "strlen", "strchr", "__stack_chk_fail"});
    expectLittleIsNeeded(
        RYXSC_ECHO_LIBRARY, {"libryxscu8.so.8.2", "libc.so.6", "libm.so.6"},
        {"memcpy", "memmove", "memset", "memcmp", "cos", "sin", "exp", "log10", "pow", "sqrt", "__stack_chk_fail"});
}

TEST(SharedObject, IsFoundUnderItsNames) {
    const std::filesystem::path file = library;
    EXPECT_EQ(matches(outputOf("readelf -dW '" + library + "'"), "SONAME.*\\[(.*)\\]"), Names{"libryxscu8.so.8.2"});
    for (const char *name : {"libryxscu8.so.8.2", "libryxscu8.so"})
        EXPECT_TRUE(equivalent(file.parent_path() / name, file)) << name;
}

TEST(SharedObject, IsHardenedAndInitialisedByTheLoader) {
    const auto dynamic = outputOf("readelf -dW '" + library + "'"),
               segments = outputOf("readelf -lW '" + library + "'");
    EXPECT_TRUE(regex_search(dynamic, std::regex("FLAGS.*BIND_NOW|FLAGS_1.*NOW")));
    EXPECT_TRUE(regex_search(dynamic, std::regex("\\(INIT\\)")));
    EXPECT_TRUE(regex_search(segments, std::regex("GNU_RELRO")));
    EXPECT_TRUE(regex_search(segments, std::regex("GNU_STACK.* RW +0x"))) << "readable, writable, not executable";
    EXPECT_FALSE(regex_search(segments, std::regex(" RWE ")));
    EXPECT_FALSE(regex_search(dynamic, std::regex("TEXTREL")));
}

bool isFromLibm(const std::string &name) {
    static void *const libm = dlopen("libm.so.6", RTLD_NOW);
    Dl_info info;
    void *const address = dlsym(libm, name.c_str());
    return address && dladdr(address, &info) && std::string(info.dli_fname).find("libm.so") != std::string::npos;
}

// No allocation, no output, no C++ run time.
TEST(SharedObject, NeedsTheCoreLibraryAndALittleOfLibcAndLibmOnly) {
    for (const auto &name : matches(outputOf("readelf -dW '" + library + "'"), "NEEDED.*\\[(.*)\\]"))
        EXPECT_TRUE((Names{"libryxcore.so.8.2", "libc.so.6", "libm.so.6"}.contains(name))) << name;
    const Names allowed = {
        "ryxGetCpuFeatures", "ryxGetEnabledCpuFeatures", "ryxMalloc", "ryxFree", "memcpy", "memmove", "memset",
        "__stack_chk_fail"};
    for (const auto &name : matches(outputOf("nm -D --undefined-only '" + library + "'"), " U ([^@\\s]+)"))
        EXPECT_TRUE(allowed.contains(name) || isFromLibm(name)) << name;
    const Names weak = {"__cxa_finalize", "__gmon_start__", "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable"};
    for (const auto &name : matches(outputOf("nm -D --undefined-only '" + library + "'"), " w ([^@\\s]+)"))
        EXPECT_TRUE(weak.contains(name)) << name;
}

// What is written after loading: the variant selector, and two words of the compiler's start-up code.
TEST(SharedObject, HoldsNoMutableDataButTheVariantSelector) {
    const Names sizes = matches(outputOf("size -A -d '" + library + "'"), "\\.t?(?:data|bss) +(\\d+)");
    EXPECT_FALSE(sizes.empty());
    for (const auto &size : sizes)
        EXPECT_LE(std::stoi(size), 8);
}

// VEX and EVEX forms all start with v; verr and verw are the only older ones. tzcnt is absent: older processors run it
// as bsf, which the compiler relies on.
bool isNewerThanSsse3(const std::string &mnemonic) {
    static const std::regex newer(
        "v(?!err|erw).*|popcnt|lzcnt|movbe|crc32.*|andn|bextr|bls(i|r|msk)|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx|ad["
        "co]x|"
        "aes.*|pclmul.*|sha(1|256).*|gf2p8.*|extrq|insertq|movnts[sd]|rd(rand|seed)|"
        "p(mulld|muldq|ackusdw|test|hminposuw|blendvb|blendw|cmp[ei]str[im]|(min|max)(s[bd]|u[wd])|cmp(eq|gt)q)|"
        "p(ext|ins)r[bdq]|pmov[sz]x.*|mpsadbw|movntdqa|blendv?p[sd]|dpp[sd]|round[sp][sd]|insertps|extractps");
    return regex_match(mnemonic, newer);
}

TEST(SharedObject, HoldsNoInstructionNewerThanSsse3) {
    for (const char *newer : {"vpaddw", "pmulld", "pextrd", "pmaxsd", "roundsd", "popcnt", "andn", "pcmpeqq", "adcx"})
        EXPECT_TRUE(isNewerThanSsse3(newer)) << newer;
    for (const char *older : {"verr", "pmulhrsw", "pextrw", "pmaxsw", "pminub", "pshufb", "tzcnt", "adc", "pcmpeqd"})
        EXPECT_FALSE(isNewerThanSsse3(older)) << older;
    const auto mnemonics = matches(outputOf("objdump -d --no-show-raw-insn '" + library + "'"), ":\\t(\\w+)");
    EXPECT_TRUE(mnemonics.contains("jmp") && mnemonics.size() > 50) << "the disassembly was understood";
    for (const auto &mnemonic : mnemonics)
        EXPECT_FALSE(isNewerThanSsse3(mnemonic)) << mnemonic;
}

} // namespace
