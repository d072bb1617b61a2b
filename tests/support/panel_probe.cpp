// Calls functions of the panel library that read fixed paths, so that a test can see what they do
// in a sandbox. Each argument is one call: its words are separated by unit separators, and a word
// "NULL" is a null pointer. "open" and "close" make and end the connection that later calls are
// given; without one they get null. Results are printed in brackets, a line each.
#include "lib/autoprepend.h"
#include "lib/dbconnect.h"
#include "lib/dbconnect_legacy.h"
#include "lib/get_param.h"
#include "lib/mysql_owned.h"
#include "lib/product_log.h"
#include "lib/utilities/put.h"

#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

using Words = std::vector<const char*>;

MysqlConnection connection;

std::string text(const char* value) {
    return value == nullptr ? "null" : std::string("text ") + value;
}

/// Whether a connection is made with a message buffer of the given size, and the buffer after it.
std::string connect(MYSQL* (*layer)(char*, std::size_t), const char* size) {
    std::string message(200, '~');
    const MysqlConnection made(layer(message.data(), std::stoul(size)));
    return (made ? "connected " : "refused ") + std::string(message.c_str());
}

std::string by_index(int i) {
    const auto index = static_cast<OvkConfVarIndexT>(i);
    return text(ovkConfGetByIndex(index)) + " " + ovkConfGetDefaultByIndex(index);
}

const std::map<std::string, std::function<std::string(const Words&, MYSQL*)>> functions = {
    {"autoprepend", [](auto&, auto) { return std::to_string(autoprepend()); }},
    {"ovkConfGet", [](auto& w, auto) { return text(ovkConfGet(w[1])); }},
    {"ovkConfGetDefault", [](auto& w, auto) { return text(ovkConfGetDefault(w[1])); }},
    {"by index", [](auto& w, auto) { return by_index(std::stoi(w[1])); }},
    {"connect_ex", [](auto& w, auto) { return connect(orvek_db_connect_ex, w[1]); }},
    {"connect", [](auto& w, auto) { return connect(db_connect_nothrow, w[1]); }},
    {"open", [](auto&, auto) { return connection.reset(db_connect()), connection ? "open" : ""; }},
    {"close", [](auto&, auto) { return connection.reset(), ""; }},
    {"get", [](auto& w, auto my) { return text(get_param(w[1], my)); }},
    {"query", [](auto& w, auto my) { return text(get_param_query(w[1], my)); }},
    {"column 1", [](auto& w, auto my) { return text(get_param_from_bigquery(w[1], my, 1)); }},
    {"simple", [](auto& w, auto my) { return text(get_param_simple(w[1], w[2], w[3], w[4], my)); }},
    {"same buffer",
     [](auto& w, auto my) { return std::to_string(get_param(w[1], my) == get_param(w[2], my)); }},
    {"put", [](auto& w, auto my) { return std::to_string(put_param(w[1], w[2], my)); }},
    {"delete", [](auto& w, auto my) { return std::to_string(del_param(w[1], my)); }},
    {"delete dom", [](auto& w, auto my) { return std::to_string(del_dom_param(w[1], w[2], my)); }},
    {"delete obj",
     [](auto& w, auto my) { return std::to_string(del_Parameter(w[1], w[2], w[3], my)); }},
};

Words split(char* call) {
    Words words = {call};
    for (char* c = call; *c != '\0'; ++c) {
        if (*c == '\x1f') {
            *c = '\0';
            words.push_back(c + 1);
        }
    }
    for (const char*& word : words)
        word = std::string(word) == "NULL" ? nullptr : word;
    return words;
}

} // namespace

int main(int argc, char** argv) {
    PROGNAME = "probe";
    for (int i = 1; i < argc; ++i) {
        const Words words = split(argv[i]);
        errno = 0;
        std::printf("[%s]\n", functions.at(words[0])(words, connection.get()).c_str());
    }
}
