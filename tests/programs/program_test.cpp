// SPDX-License-Identifier: BSD-2-Clause
#include "program_test.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>

#include "lib/output_file.h"

namespace fs = std::filesystem;

namespace {

fs::path newFolder() {
    std::string name = (fs::temp_directory_path() / "ryxsc-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder can be made");
    return name;
}

std::vector<uint8_t> content(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string text(const fs::path &path) {
    const std::vector<uint8_t> octets = content(path);
    return {octets.begin(), octets.end()};
}

} // namespace

ProgramTest::ProgramTest() : folder(newFolder()), logs(newFolder()) {
}

ProgramTest::~ProgramTest() {
    fs::remove_all(folder);
    fs::remove_all(logs);
}

Outcome ProgramTest::run(const std::string &command) const {
    const std::string shell = "cd '" + folder.string() + "' && PATH='" RYXSC_PROGRAMS "':\"$PATH\" && { " + command +
                              "; } </dev/null >'" + logs.string() + "/output' 2>'" + logs.string() + "/errors'";
    const int status = std::system(shell.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(logs / "output"), text(logs / "errors")};
}

void ProgramTest::runWell(const std::string &command) const {
    const Outcome outcome = run(command);
    ASSERT_EQ(outcome.exitCode, 0) << command << "\n" << outcome.errors;
}

std::vector<uint8_t> ProgramTest::octets(const std::string &name) const {
    return content(file(name));
}

std::vector<int16_t> ProgramTest::samples(const std::string &name, int sampleRate) const {
    return readMono(file(name), sampleRate).samples;
}

void ProgramTest::write(const std::string &name, const std::vector<uint8_t> &octets) const {
    writeOctets(file(name), octets);
}

std::vector<std::string> ProgramTest::names() const {
    std::vector<std::string> result;
    for (const auto &entry : fs::directory_iterator(folder))
        result.push_back(entry.path().filename().string());
    std::sort(result.begin(), result.end());
    return result;
}
