// SPDX-License-Identifier: BSD-2-Clause
#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "lib/audio_file.h"
#include "lib/failure.h"
#include "lib/output_file.h"
#include "page.h"
#include "ryxsc.h"

namespace {

namespace fs = std::filesystem;

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string element(const std::string &name, const std::string &text, const std::string &attributes = "") {
    return "<" + name + (attributes.empty() ? "" : " " + attributes) + ">" + escaped(text) + "</" + name + ">\n";
}

// A file name that may be broken after its underscores.
std::string breakable(const std::string &name) {
    std::string result;
    for (const char c : escaped(name)) {
        result += c;
        if (c == '_') result += "<wbr>";
    }
    return result;
}

std::string html(const Table &table) {
    std::string rows = "<tr>";
    for (const std::string &column : table.columns)
        rows += element("th", column);
    rows += "</tr>\n";
    for (const std::vector<std::string> &row : table.rows) {
        rows += "<tr>";
        for (const std::string &cell : row)
            rows += element("td", cell);
        rows += "</tr>\n";
    }
    return "<div class=\"scroll\"><table>\n" + rows + "</table></div>\n";
}

std::string libraryVersion() {
    const ryxLibraryVersion *version = ryxscGetLibVersion();
    return std::string(version->name) + ", version " + version->version;
}

} // namespace

std::string plainText(const Table &table) {
    std::vector<size_t> widths;
    for (size_t column = 0; column < table.columns.size(); column++) {
        widths.push_back(table.columns[column].size());
        for (const std::vector<std::string> &row : table.rows)
            widths[column] = std::max(widths[column], row[column].size());
    }
    std::string text;
    const auto addLine = [&](const std::vector<std::string> &cells) {
        for (size_t column = 0; column < cells.size(); column++) {
            const std::string gap(widths[column] - cells[column].size(), ' ');
            text += column == 0 ? cells[column] + gap : "   " + gap + cells[column];
        }
        text += '\n';
    };
    addLine(table.columns);
    for (const std::vector<std::string> &row : table.rows)
        addLine(row);
    return text;
}

std::string decimal(double value, int decimals) {
    if (std::isnan(value)) return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

Report::Report(fs::path folder) : folder_(std::move(folder)) {
    std::error_code error;
    fs::create_directory(folder_, error);
    if (error) throw Failure("cannot create the output folder " + folder_.string() + ": " + error.message());
}

void Report::beginSection(const std::string &title) {
    const std::string id = "section" + std::to_string(++sections_);
    navigation_ += element("a", title, "href=\"#" + id + "\"");
    if (sections_ > 1) body_ += "</section>\n";
    body_ += "<section id=\"" + id + "\">\n" + element("h2", title);
}

void Report::addHeading(const std::string &text) {
    body_ += element("h3", text);
}

void Report::addParagraph(const std::string &text) {
    body_ += element("p", text);
}

void Report::addTable(const Table &table) {
    body_ += html(table);
    tables_.push_back(table);
}

void Report::addPicture(const std::string &file, const std::string &title, const std::string &caption) {
    body_ += "<figure><figcaption>" + element("strong", title) + escaped(caption) + "</figcaption>\n<img src=\"" +
             file + "\" loading=\"lazy\" alt=\"" + escaped(title + ": " + caption) + "\"></figure>\n";
}

void Report::addPlayers(const std::vector<Version> &versions) {
    body_ += "<div class=\"scroll\"><table class=\"players\">\n<tr><th>recording</th>";
    for (const Version &version : versions)
        body_ += element("th", version.name);
    body_ += "</tr>\n";
    const std::vector<Recording> &names = versions.front().recordings->list;
    for (size_t i = 0; i < names.size(); i++) {
        body_ += "<tr><td>" + breakable(names[i].name) + "</td>\n";
        for (const Version &version : versions) {
            const std::string file = version.file + "-" + std::to_string(i + 1) + ".wav";
            writeMono(place(file), {version.recordings->sampleRate, version.recordings->list[i].samples});
            body_ += "<td><audio controls controlslist=\"nodownload noplaybackrate\" preload=\"metadata\" "
                     "data-recording=\"" +
                     std::to_string(sections_) + "-" + std::to_string(i) + "\" src=\"" + file + "\"></audio></td>\n";
        }
        body_ += "</tr>\n";
    }
    body_ += "</table></div>\n";
}

void Report::addResults(const Table &table) {
    if (results_.columns.empty()) results_.columns = table.columns;
    results_.rows.insert(results_.rows.end(), table.rows.begin(), table.rows.end());
}

void Report::addResult(const std::string &what, const std::string &found, const Speed &speed) {
    const auto times = [](double value) { return value > 0 ? decimal(value, 0) : "-"; };
    stageResults_.rows.push_back({what, found, times(speed.encoder), times(speed.decoder)});
}

fs::path Report::write(const std::vector<std::string> &about) const {
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>ryxSC: real speech through the codecs</title>\n<style>";
    page += pageStyle;
    page += "</style>\n</head>\n<body>\n<header><div>\n" + element("h1", "ryxSC: real speech through the codecs") +
            element("p", "Recorded speech, encoded and decoded by complete codecs made from the primitives of the "
                         "library. Listen to it, look at it, and see what it costs.") +
            element("p", libraryVersion(), "class=\"version\"") + "<nav>\n" +
            element("a", "Results", "href=\"#results\"") + navigation_ + "</nav>\n</div></header>\n<main>\n";
    page += "<section id=\"results\">\n" + element("h2", "Results") + element("h3", "Whole codecs") + html(results_);
    for (const std::string &paragraph : about)
        page += element("p", paragraph, "class=\"note\"");
    page += element("h3", "Stages, cancellers and control") + html(stageResults_);
    page += "</section>\n" + body_ + (sections_ ? "</section>\n" : "") + "</main>\n<script>" + pageScript +
            "</script>\n</body>\n</html>\n";

    const fs::path path = place("report.html");
    writeOctets(path, {reinterpret_cast<const uint8_t *>(page.data()), page.size()});
    return path;
}
