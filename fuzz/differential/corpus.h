// The corpus: messages as data files.
#pragma once

#include <string>
#include <vector>

struct CorpusMessage {
    std::string name;
    std::string text;
};

/// Reads the files of `folder`. In all of them {HH} stands for the byte of that hexadecimal value.
///
///   *.mails   whole messages, each behind a line "%% NAME"; "%% crlf NAME" gives it CRLF line ends
///   *.table   a template (all lines up to "%%"), and behind it one message a line: the line takes
///             the place of "@@" in the template
///
/// Throws std::runtime_error when there is nothing to read.
std::vector<CorpusMessage> read_corpus(const std::string& folder);
