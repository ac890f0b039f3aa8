#pragma once
// Tables of cases.

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace support
{

using Row = std::map<std::string, std::string>; ///< fields by the names of their columns

/// The pieces of a text between separators.
inline std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> pieces;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, separator);)
        pieces.push_back(piece);
    return pieces;
}

/// Rows of the table NAME.tsv of the program: fields between tabs, the first row names the columns, "-" is an
/// empty field,
/// "#" begins a comment. The test fails when a row has another number of fields.
inline std::vector<Row> ReadTable(const std::string& name)
{
    std::ifstream file(std::string(TABLES_FOLDER "/") + name + ".tsv");
    std::vector<std::string> columns;
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::vector<std::string> fields = Split(line, '\t');
        if (columns.empty()) {
            columns = fields;
            continue;
        }
        EXPECT_EQ(fields.size(), columns.size()) << line;
        Row& row = rows.emplace_back();
        for (std::size_t i = 0; i < columns.size(); ++i)
            row[columns[i]] = i < fields.size() && fields[i] != "-" ? fields[i] : "";
    }
    EXPECT_FALSE(rows.empty()) << name;
    return rows;
}

/// The words NAME=VALUE of a field, over what stands for the names that it leaves out. A word without a value
/// is its own.
inline Row Words(const std::string& field, Row words = {})
{
    for (const std::string& word : Split(field, ' '))
        words[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
    return words;
}

/// A field with what it writes in short: \r \n \t \\ \0, a byte \xNN, and {N*TEXT} for N times the text.
inline std::string Expand(const std::string& field)
{
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        std::size_t digits = 0;
        const std::size_t count = field[i] == '{' ? std::strtoul(&field[i + 1], nullptr, 10) : 0;
        while (count > 0 && field[i + 1 + digits] >= '0' && field[i + 1 + digits] <= '9')
            ++digits;
        if (digits > 0 && field[i + 1 + digits] == '*') {
            const std::size_t start = i + 2 + digits;
            std::size_t end = start;
            for (int open = 1; field[end] != '}' || --open > 0; ++end)
                open += field[end] == '{' ? 1 : 0;
            const std::string piece = Expand(field.substr(start, end - start));
            for (std::size_t n = 0; n < count; ++n)
                out += piece;
            i = end;
        } else if (field[i] == '\\' && field[i + 1] == 'x') {
            out += static_cast<char>(std::stoi(field.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else if (field[i] == '\\') {
            constexpr std::string_view kNames = "rnt0\\", kBytes("\r\n\t\0\\", 5);
            out += kBytes.at(kNames.find(field[++i]));
        } else {
            out += field[i];
        }
    }
    return out;
}

} // namespace support
