// Template substitution into small buffers. The input is the buffer's size (a byte), flags (a
// byte), lines "name=value" or "name" up to an empty line, and the source.
#include "autoresponder/template.h"

#include "fuzz/fuzz.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using Table = std::map<std::string, std::optional<std::string>>;

std::string_view until_nul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

Table take_table(std::string_view& input) {
    Table table;
    while (!input.empty()) {
        std::string_view line = take_until(input, '\n');
        if (line.empty())
            break;
        const bool has_value = line.find('=') != std::string_view::npos;
        const std::string name(until_nul(take_until(line, '=')));
        table.try_emplace(name,
                          has_value ? std::optional<std::string>(until_nul(line)) : std::nullopt);
    }
    return table;
}

std::vector<par_templ> sorted_parameters(const Table& table) {
    std::vector<par_templ> parameters;
    for (const auto& [name, value] : table)
        parameters.push_back({name.c_str(), value ? value->c_str() : nullptr});
    // From an order that depends on the names into the one that the lookup needs.
    std::sort(parameters.begin(), parameters.end(), [](const par_templ& a, const par_templ& b) {
        return std::strlen(a.name) > std::strlen(b.name);
    });
    templ_quick_sort(parameters.data(), static_cast<int>(parameters.size()));
    std::size_t index = 0;
    for (const auto& [name, value] : table) {
        require(parameters[index].name == name.c_str(), "sorted in byte order");
        require(templ_found(name.c_str(), parameters.data(), static_cast<int>(table.size())) ==
                    static_cast<int>(index++),
                "every name is found");
    }
    return parameters;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string_view input = as_text(data, size);
    const std::size_t room = take_byte(input);
    const std::uint32_t flags = take_byte(input);
    const Table table = take_table(input);
    const std::string source(until_nul(input));
    const std::vector<par_templ> parameters = sorted_parameters(table);

    constexpr char mark = '\x5A';
    std::string buffer(room + 1 + 8, mark);
    repl_ctl control = {~0u, ~0u, flags, ~0u};
    require(templ_replace('<', '>', parameters.data(), parameters.size(), source.c_str(),
                          buffer.data(), room, &control) == buffer.data(),
            "the result is the buffer");
    require(control.out_count <= room, "no more than the buffer holds");
    require(buffer.find_first_not_of(mark, room + 1) == std::string::npos,
            "bytes behind the buffer stay as they are");
    require(control.out_count == room || buffer[control.out_count] == '\0' ||
                (control.status & REPL_STOPPED) != 0,
            "a result shorter than the buffer is terminated");
    if (table.empty() || room == 0) {
        require(control.out_count == 0 && control.in_count == 0 && control.status == 0, "empty");
        return 0;
    }
    require(control.in_count <= source.size(), "no more read than there is");
    require(control.out_count == room || control.in_count == source.size() ||
                (control.status & REPL_STOPPED) != 0,
            "nothing but a lack of room ends it");
    if (source.find('<') == std::string::npos)
        require(buffer.substr(0, control.out_count) == source.substr(0, room), "text stays");
    return 0;
}
