// autoresponder-domain: of the domain names on standard input, one a line, those that are plain:
// letters, digits, ".", "-", "_" and bytes beyond ASCII. What stands in SQL or in a mail server's
// expansions can be nothing else there. A name to which IDN gives another plain form has that
// behind a blank.
#include "base/text.h"
#include "codecs/idn.h"

#include <algorithm>
#include <iostream>
#include <string>

namespace {

bool is_plain(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return is_alphanumeric(c) || !is_ascii(c) || c == '.' || c == '-' || c == '_';
    });
}

} // namespace

int main() {
    for (std::string name; std::getline(std::cin, name);) {
        if (!is_plain(name))
            continue;
        const std::string other = orvek::idn::other_form(name);
        std::cout << name << (other != name && is_plain(other) ? " " + other : "") << '\n';
    }
}
