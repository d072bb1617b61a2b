// Tables of inputs and results as data files. A line "[NAME]" begins a table; every other line is a
// row of columns with " => " between them, written as string literals are without their quotes (\n,
// \r, \t, \v, \f, \0, \\ and \xHH; \e for nothing at all, \(9)a for nine times "a"). Empty lines
// and those that begin with "## " are left out.
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using Case = std::vector<std::string>;

inline std::string times(std::size_t count, const std::string& text) {
    std::string repeated;
    while (count-- > 0)
        repeated += text;
    return repeated;
}

inline std::string unescaped(const std::string& text) {
    constexpr std::string_view letters = "nrtvf0\\", bytes("\n\r\t\v\f\0\\", 7);
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
        } else if (text.at(++i) == 'x') {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else if (text[i] == '(') {
            const std::size_t close = text.find(')', i);
            plain.append(std::stoul(text.substr(i + 1)), text.at(close + 1));
            i = close + 1;
        } else if (text[i] != 'e') {
            plain += bytes.at(letters.find(text[i]));
        }
    }
    return plain;
}

/// The rows of table `name` of `file`, a path below tests/. There must be some, of `columns` each.
inline std::vector<Case> cases(const std::string& file, const std::string& name,
                               std::size_t columns) {
    std::ifstream lines(OVK_TESTS_FOLDER "/" + file);
    std::vector<Case> rows;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('[') && line.ends_with(']'))
            inside = line == "[" + name + "]";
        if (!inside || line.empty() || line.starts_with('[') || line.starts_with("## "))
            continue;
        Case row;
        for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 4) {
            end = line.find(" => ", at);
            row.push_back(unescaped(line.substr(at, end == std::string::npos ? end : end - at)));
        }
        EXPECT_EQ(row.size(), columns) << file << ": " << line;
        row.resize(columns);
        rows.push_back(row);
    }
    EXPECT_FALSE(rows.empty()) << file << ": " << name;
    return rows;
}
