// autoresponder-domain: of the domain names on standard input, one a line, those that IDN gives
// another form, each with that behind a blank.
#include "codecs/idn.h"

#include <iostream>
#include <string>

int main() {
    for (std::string name; std::getline(std::cin, name);) {
        const std::string other = orvek::idn::other_form(name);
        if (other != name)
            std::cout << name << ' ' << other << '\n';
    }
}
