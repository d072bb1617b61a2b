#include "fuzz/differential/mutation.h"

#include <algorithm>
#include <iterator>

namespace {

using namespace std::string_literals;

/// What means something to a parser, and what upsets one.
const std::string tokens[] = {"\n",
                              "\r\n",
                              "\n\n",
                              "\r",
                              "\0"s,
                              " ",
                              "\t",
                              "=",
                              "=\n",
                              "= \n",
                              "==",
                              "=3D",
                              "--",
                              "\n--b\n",
                              "\n--b--\n",
                              "--b",
                              "\"",
                              "\\",
                              "(",
                              ")",
                              "<",
                              ">",
                              ",",
                              ";",
                              ":",
                              "@",
                              "[",
                              "]",
                              ".",
                              "\x80",
                              "\xC3\xA9",
                              "\x7F",
                              "=?utf-8?Q?",
                              "?=",
                              "a@b.example",
                              "<a@b.example>",
                              "charset",
                              "charset=",
                              "; charset=\"x\"",
                              "charset*=utf-8''x",
                              "charset*0=u",
                              "boundary=b",
                              "text/plain",
                              "multipart/",
                              "message/rfc822",
                              "base64",
                              "quoted-printable",
                              "\nContent-Type: text/plain\n",
                              "\nReply-To: x@y.example\n",
                              "\nContent-Transfer-Encoding: base64\n",
                              "From ",
                              "\nFrom x\n"};

std::size_t below(std::size_t limit, std::mt19937_64& random) {
    return limit == 0 ? 0 : static_cast<std::size_t>(random() % limit);
}

/// A whole line of `text`, its line feed included: start and length.
std::pair<std::size_t, std::size_t> some_line(const std::string& text, std::mt19937_64& random) {
    const std::size_t inside = below(text.size(), random);
    const std::size_t before = inside == 0 ? std::string::npos : text.rfind('\n', inside - 1);
    const std::size_t start = before == std::string::npos ? 0 : before + 1;
    const std::size_t end = text.find('\n', inside);
    return {start, (end == std::string::npos ? text.size() : end + 1) - start};
}

/// Behind some "--" at a line's start; the end when there is none.
std::size_t some_delimiter(const std::string& text, std::mt19937_64& random) {
    std::size_t at = text.find("\n--", below(text.size(), random));
    if (at == std::string::npos)
        at = text.find("\n--");
    return at == std::string::npos ? text.size() : at + 3;
}

void change(std::string& text, const std::string& other, std::mt19937_64& random) {
    const std::size_t at = below(text.size(), random);
    const auto [line, length] = some_line(text, random);
    const std::string& token = tokens[below(std::size(tokens), random)];
    switch (random() % 12) {
    case 0:
        if (!text.empty())
            text[at] = static_cast<char>(text[at] ^ (1 << random() % 8));
        break;
    case 1:
        text.replace(at, std::min<std::size_t>(1, text.size()), token);
        break;
    case 2:
        text.insert(at, token);
        break;
    case 3:
        text.erase(at, below(20, random));
        break;
    case 4:
        text.insert(line, text.substr(line, length));
        break;
    case 5:
        text.erase(line, length);
        break;
    case 6:
        text.insert(at, text.substr(line, length));
        break;
    case 7:
        text.resize(at);
        break;
    case 8:
        text.replace(at, std::string::npos, other, below(other.size(), random));
        break;
    case 9:
        text.insert(some_delimiter(text, random), token);
        break;
    case 10:
        text.erase(some_delimiter(text, random), 1 + below(4, random));
        break;
    default:
        if (length > 0 && text[line + length - 1] == '\n')
            text.insert(line + length - 1, "\r");
    }
}

} // namespace

std::string mutate(const std::vector<CorpusMessage>& corpus, std::mt19937_64& random) {
    std::string text = corpus[below(corpus.size(), random)].text;
    for (std::size_t changes = 1 + below(6, random); changes > 0; --changes)
        change(text, corpus[below(corpus.size(), random)].text, random);
    return text;
}
