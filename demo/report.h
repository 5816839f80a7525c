// SPDX-License-Identifier: BSD-2-Clause
// The report: a page with tables, pictures and recordings, all in one folder.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "codec.h"
#include "speech.h"

/** A table of texts. The first column is left-aligned, the others are numbers. */
struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
};

/** The table as plain text, one line per row, columns aligned. */
std::string plainText(const Table &table);

/** A value with so many decimals; a dash for NaN. */
std::string decimal(double value, int decimals);

/** Recordings that differ in how they were coded, under the name of this version. */
struct Version {
    std::string name;
    std::string file; /**< beginning of the file names, letters, digits and hyphens */
    const Recordings *recordings;
};

/**
 * @brief Collects the content section by section and writes it as report.html.
 *
 * Texts are plain and are escaped here. Files get names relative to the folder. All members throw Failure.
 */
class Report {
public:
    /** Creates the folder when it is missing; the folder around it must be there. */
    explicit Report(std::filesystem::path folder);

    void beginSection(const std::string &title);
    void addHeading(const std::string &text);
    void addParagraph(const std::string &text);

    /** Adds a table of results to the section; it belongs to tables() too. */
    void addTable(const Table &table);

    /** The place for a picture that is to be drawn and added. */
    std::filesystem::path place(const std::string &file) const { return folder_ / file; }
    void addPicture(const std::string &file, const std::string &title, const std::string &caption);

    /** Writes every recording in every version and adds a table of players. */
    void addPlayers(const std::vector<Version> &versions);

    /** Adds rows to the table of results at the top of the page. The columns are those of the first call. */
    void addResults(const Table &table);
    const Table &results() const { return results_; }

    /** Adds a row to the table of what the sections below the codecs found. Zero: nothing was timed. */
    void addResult(const std::string &what, const std::string &found, const Speed &speed);
    const Table &stageResults() const { return stageResults_; }

    /** The tables of the sections in their order. */
    const std::vector<Table> &tables() const { return tables_; }

    /** Writes the page. @param about paragraphs on what was done, below the results */
    std::filesystem::path write(const std::vector<std::string> &about) const;

private:
    std::filesystem::path folder_;
    std::string navigation_;
    std::string body_;
    Table results_;
    Table stageResults_{{"stage", "result", "times real time: encoder", "decoder"}, {}};
    std::vector<Table> tables_;
    size_t sections_ = 0;
};
