// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_file.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

namespace ryxtest {

namespace {

constexpr ElementType elementTypes[] = {
    {"8u", 'u', 1, 1},  {"16s", 's', 2, 1}, {"16u", 'u', 2, 1},  {"32s", 's', 4, 1},  {"32u", 'u', 4, 1},
    {"32f", 'f', 4, 1}, {"64f", 'f', 8, 1}, {"32sc", 's', 4, 2}, {"32fc", 'f', 4, 2},
};

struct Form {
    std::string_view word;
    Role role;
    bool rows;
};
constexpr Form forms[] = {{"in", Role::in, false},     {"out", Role::out, false},   {"io", Role::io, false},
                          {"keep", Role::keep, false}, {"val", Role::value, false}, {"rows", Role::in, true},
                          {"iorows", Role::io, true}};

std::string quoted(std::string_view word) {
    return std::string("'").append(word).append("'");
}

class Parser {
public:
    Parser(const std::string &name, std::string_view text) : text_(text) { file_.name = name; }

    VectorFile parse() {
        while (!text_.empty()) {
            ++line_;
            const size_t end = std::min(text_.find('\n'), text_.size());
            rest_ = text_.substr(0, end);
            text_.remove_prefix(std::min(end + 1, text_.size()));
            const auto word = token();
            if (word.empty() || word[0] == '#') continue;
            statement(word);
            if (!token().empty()) fail("more than the line can hold");
        }
        if (call_) fail("the last call has no status");
        return std::move(file_);
    }

private:
    [[noreturn]] void fail(const std::string &why) const {
        throw std::runtime_error(file_.name + ":" + std::to_string(line_) + ": " + why);
    }

    std::string_view token() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r"), rest_.size()));
        const auto word = rest_.substr(0, rest_.find_first_of(" \t\r"));
        rest_.remove_prefix(word.size());
        return word;
    }

    std::string_view nameToken() {
        const auto word = token();
        if (word.empty()) fail("a name is missing");
        return word;
    }

    template <class T> T number(std::string_view word) const {
        T value;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc() || end != word.data() + word.size()) fail("bad number " + quoted(word));
        return value;
    }

    // strtod, because it reads hexadecimal floats.
    double real(std::string_view word) const {
        const std::string text(word);
        char *end;
        const double value = std::strtod(text.c_str(), &end);
        if (text.empty() || *end) fail("bad number " + quoted(text));
        return value;
    }

    void statement(std::string_view word) {
        if (word == "block" || word == "call") {
            if (call_) fail("the call before has no status");
            word == "block" ? block() : call();
        } else if (!call_) {
            fail(quoted(word) + " outside a call");
        } else if (word == "status") {
            call_->status = number<int>(token());
            call_ = nullptr;
        } else if (word == "tol") {
            call_->exact = false;
            call_->tolerance.relative = real(token());
            call_->tolerance.absolute = real(token());
        } else {
            call_->arguments.push_back(argument(word));
        }
    }

    void block() {
        Block block{std::string(nameToken()), number<size_t>(token()), 0};
        if (const auto word = token(); word == "offset")
            block.offset = number<size_t>(token());
        else if (!word.empty())
            fail(quoted(word) + " after the size of a block");
        blocks_.insert(block.name);
        file_.steps.emplace_back(std::move(block));
    }

    void call() {
        file_.steps.emplace_back(Call{std::string(nameToken()), line_});
        call_ = &std::get<Call>(file_.steps.back());
    }

    Argument argument(std::string_view word) {
        if (word == "null") return {Role::null, {}, std::string(nameToken()), line_};
        if (word == "state") {
            Argument state{Role::state, elementTypes[0], std::string(nameToken()), line_};
            if (!blocks_.contains(state.name)) fail("no block is named " + state.name);
            return state;
        }
        const size_t dot = std::min(word.find('.'), word.size());
        const auto form = std::ranges::find(forms, word.substr(0, dot), &Form::word);
        const auto typeName = word.substr(std::min(dot + 1, word.size()));
        const auto type = std::ranges::find(elementTypes, typeName, &ElementType::name);
        if (form == std::end(forms) || type == std::end(elementTypes)) fail(quoted(word) + " is unknown");
        Argument argument{form->role, *type, std::string(nameToken()), line_};
        if (const size_t at = argument.name.find('@'); at != std::string::npos) {
            argument.history = number<size_t>(std::string_view(argument.name).substr(at + 1));
            argument.name.resize(at);
        }
        data(argument, form->rows);
        return argument;
    }

    void data(Argument &argument, bool rows) {
        size_t wanted = 0; // bytes, 0: as many as there are
        if (rows) {
            const auto shape = token();
            const size_t cross = std::min(shape.find('x'), shape.size());
            argument.rows = number<size_t>(shape.substr(0, cross));
            wanted = argument.rows * number<size_t>(shape.substr(std::min(cross + 1, shape.size())));
            if (!wanted) fail("rows without elements");
        } else if (argument.role == Role::keep) {
            argument.bytes = number<size_t>(token()) * argument.type.bytes();
            return;
        } else if (argument.role == Role::value) {
            wanted = 1;
        }
        if (argument.role != Role::out) argument.before = values(argument.type, argument.role == Role::io);
        if (argument.role == Role::out || argument.role == Role::io) argument.after = values(argument.type, false);
        argument.bytes = std::max(argument.before.size(), argument.after.size());
        wanted *= argument.type.bytes();
        if ((wanted && argument.bytes != wanted) || argument.bytes % argument.type.bytes())
            fail("wrong number of values of " + argument.name);
        if (argument.role == Role::io && argument.before.size() != argument.after.size())
            fail("as many values of " + argument.name + " after '->' as in front of it");
        if (argument.history * argument.type.bytes() > argument.bytes) fail(argument.name + "@ points behind the data");
    }

    Bytes values(const ElementType &type, bool untilArrow) {
        Bytes bytes;
        for (auto word = token(); !word.empty(); word = token()) {
            if (untilArrow && word == "->") return bytes;
            append(bytes, type, word);
        }
        if (untilArrow) fail("'->' is missing");
        return bytes;
    }

    void append(Bytes &bytes, const ElementType &type, std::string_view word) const {
        bytes.resize(bytes.size() + type.width);
        std::byte *const to = &*bytes.end() - type.width;
        if (type.kind == 'f') {
            const double value = real(word);
            // Nine digits name one float, but by way of double they might round twice.
            const float single = std::strtof(std::string(word).c_str(), nullptr);
            std::memcpy(to, type.width == 4 ? static_cast<const void *>(&single) : &value, type.width);
            return;
        }
        const auto value = number<int64_t>(word);
        const int64_t span = int64_t{1} << (8 * type.width);
        const int64_t low = type.kind == 's' ? -span / 2 : 0;
        if (value < low || value >= low + span) fail(std::string(word) + " is out of range");
        std::memcpy(to, &value, type.width);
    }

    std::string_view text_, rest_;
    int line_ = 0;
    VectorFile file_;
    Call *call_ = nullptr; // the open one; no step is added while it is open
    std::set<std::string> blocks_;
};

} // namespace

VectorFile parseVectors(const std::string &name, std::string_view text) {
    return Parser(name, text).parse();
}

VectorFile readVectors(const std::string &path, const std::string &name) {
    std::ifstream stream(path);
    if (!stream) throw std::runtime_error(name + ": cannot be read");
    return parseVectors(name, std::string(std::istreambuf_iterator<char>(stream), {}));
}

} // namespace ryxtest
