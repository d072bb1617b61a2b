#include "fuzz/differential/corpus.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace {

std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool is_hex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

std::string without_escapes(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '{' && i + 3 < text.size() && text[i + 3] == '}' && is_hex(text[i + 1]) &&
            is_hex(text[i + 2])) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

void read_mails(const std::string& text, std::vector<CorpusMessage>& corpus) {
    std::istringstream lines(text);
    bool crlf = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.substr(0, 3) == "%% ") {
            crlf = line.substr(3, 5) == "crlf ";
            corpus.push_back({line.substr(3), ""});
        } else {
            corpus.back().text += without_escapes(line) + (crlf ? "\r\n" : "\n");
        }
    }
}

void read_table(const std::string& name, const std::string& text,
                std::vector<CorpusMessage>& corpus) {
    const std::size_t end = text.find("%%\n");
    const std::string frame = without_escapes(text.substr(0, end));
    std::istringstream rows(text.substr(end + 3));
    for (std::string row; std::getline(rows, row);)
        corpus.push_back({name + ": " + row, replaced(frame, "@@", without_escapes(row))});
}

} // namespace

std::vector<CorpusMessage> read_corpus(const std::string& folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<CorpusMessage> corpus;
    for (const auto& path : paths) {
        if (path.extension() == ".mails")
            read_mails(read_file(path), corpus);
        else if (path.extension() == ".table")
            read_table(path.stem(), read_file(path), corpus);
    }
    if (corpus.empty())
        throw std::runtime_error("no messages in " + folder);
    return corpus;
}
