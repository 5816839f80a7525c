// SPDX-License-Identifier: BSD-2-Clause
#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <getopt.h>

#include "failure.h"
#include "ryxsc.h"

namespace {

// getopt_long() answers with these, or with the index of a choice option.
enum { helpAnswer = 1000, versionAnswer = 1001 };

[[noreturn]] void reject(const ProgramDescription &program, const std::string &sentence) {
    throw Failure(sentence + " (see " + program.name + " --help)");
}

std::string listed(const std::vector<std::string> &words, const std::string &conjunction = "or") {
    std::string text;
    for (size_t i = 0; i < words.size(); i++)
        text += (i == 0 ? "" : i + 1 == words.size() ? " " + conjunction + " " : ", ") + words[i];
    return text;
}

bool contains(const std::vector<std::string> &words, const std::string &word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isNumberIn(const Range &range, const std::string &word) {
    double number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() && number >= range.least && number <= range.most;
}

void checkValue(const ProgramDescription &program, const ChoiceOption &option, const std::string &word) {
    if (option.anyText) return;
    if (option.numbers ? isNumberIn(*option.numbers, word) : contains(option.values, word)) return;
    const std::string accepted = option.numbers ? "a number from " + std::to_string(option.numbers->least) + " to " +
                                                      std::to_string(option.numbers->most)
                                                : listed(option.values);
    reject(program, "--" + option.name + " takes " + accepted + ", not " + word);
}

std::vector<option> longOptions(const ProgramDescription &program) {
    std::vector<option> options = {{"help", no_argument, nullptr, helpAnswer},
                                   {"version", no_argument, nullptr, versionAnswer}};
    for (size_t i = 0; i < program.options.size(); i++)
        options.push_back({program.options[i].name.c_str(),
                           program.options[i].alone.empty() ? required_argument : optional_argument, nullptr,
                           static_cast<int>(i)});
    options.push_back({nullptr, 0, nullptr, 0});
    return options;
}

// A short option may stand in a group, so its letter is named and not its word.
std::string offendingOption(char **argv) {
    const bool isShort = optopt > 0 && optopt < helpAnswer;
    return isShort ? std::string("-") + static_cast<char>(optopt) : std::string(argv[optind - 1]);
}

std::map<std::string, std::string> defaults(const ProgramDescription &program) {
    std::map<std::string, std::string> values;
    for (const ChoiceOption &option : program.options)
        values[option.name] = option.values.front();
    return values;
}

void takeCommand(const ProgramDescription &program, std::vector<std::string> &words, CommandLine &line) {
    if (words.empty()) reject(program, "a command is missing: " + listed(program.commands));
    if (!contains(program.commands, words[0]))
        reject(program, "unknown command " + words[0] + ", not " + listed(program.commands));
    line.command = words[0];
    words.erase(words.begin());
}

void takeFiles(const ProgramDescription &program, const std::vector<std::string> &words, CommandLine &line) {
    const size_t count = program.files.size();
    if (words.size() < count)
        reject(program,
               (line.command.empty() ? program.name : line.command) + " needs " + listed(program.files, "and"));
    if (words.size() > count) reject(program, "one argument too many, " + words[count]);
    line.files.assign(words.begin(), words.end());
}

} // namespace

void printVersion() {
    const ryxLibraryVersion *version = ryxscGetLibVersion();
    std::printf("%s %s, built %s\n", version->name, version->version, version->buildDate);
}

std::optional<CommandLine> parseCommandLine(const ProgramDescription &program, int argc, char **argv) {
    const std::vector<option> options = longOptions(program);
    CommandLine line;
    line.values = defaults(program);
    std::vector<const ChoiceOption *> given;
    opterr = 0;
    for (int answer; (answer = getopt_long(argc, argv, ":h", options.data(), nullptr)) != -1;) {
        if (answer == 'h' || answer == helpAnswer) return std::fputs(program.help.c_str(), stdout), std::nullopt;
        if (answer == versionAnswer) return printVersion(), std::nullopt;
        if (answer == ':') reject(program, std::string(argv[optind - 1]) + " needs a value");
        if (answer == '?') reject(program, "unknown option " + offendingOption(argv));
        const ChoiceOption &choice = program.options[static_cast<size_t>(answer)];
        std::string value = optarg != nullptr ? optarg : choice.alone;
        if (optarg == nullptr && optind < argc && contains(choice.values, argv[optind])) value = argv[optind++];
        checkValue(program, choice, value);
        line.values[choice.name] = value;
        given.push_back(&choice);
    }
    std::vector<std::string> words(argv + optind, argv + argc);
    if (!program.commands.empty()) takeCommand(program, words, line);
    takeFiles(program, words, line);
    for (const ChoiceOption *choice : given)
        if (!program.commands.empty() && !contains(choice->commands, line.command))
            reject(program, "--" + choice->name + " means nothing to " + line.command);
    return line;
}
