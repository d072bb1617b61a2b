// Template substitution into small buffers, against a replacer that has all the room it wants. The
// input is the buffer's size (a byte), flags (a byte), lines "name=value" or "name" up to an empty
// line, and the source.
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

struct Expected {
    std::string text;
    std::size_t read = 0; ///< of the source
    std::uint32_t status = 0;
};

/// The placeholder at the front of `source`: its name, or nothing and how much of it is literal.
std::optional<std::string> find_name(std::string_view source, std::size_t& length) {
    const std::size_t close = source.find('>', 1);
    if (close == std::string_view::npos && source.size() <= 33) {
        length = source.size();
    } else if (close > 33) {
        length = 34;
    } else {
        length = close + 1;
        if (close > 1)
            return std::string(source.substr(1, close - 1));
    }
    return std::nullopt;
}

Expected replace(std::string_view source, const Table& table, std::size_t room,
                 std::uint32_t flags) {
    Expected result;
    while (result.read < source.size()) {
        const std::string_view rest = source.substr(result.read);
        std::size_t length = 1;
        std::optional<std::string> name;
        if (rest.front() == '<')
            name = find_name(rest, length);
        length = std::min(length, rest.size());
        const auto known = name ? table.find(*name) : table.end();
        if (name && known == table.end() && (flags & REPL_KEEP_UNKNOWN) != 0) {
            result.status |= REPL_UNKNOWN_KEPT;
            name.reset();
        }
        // Text that is kept is taken as far as there is room, one byte as good as the other.
        const std::string value = !name                  ? std::string(rest.substr(0, length))
                                  : known == table.end() ? ""
                                                         : known->second.value_or("");
        const bool fits = result.text.size() + value.size() <= room;
        if (!fits && name && (flags & REPL_STOP_ON_OVERFLOW) != 0) {
            result.status |= REPL_STOPPED;
            return result;
        }
        const std::size_t copied = std::min(value.size(), room - result.text.size());
        result.text += value.substr(0, copied);
        result.read += name ? length : copied;
        if (!fits)
            return result;
    }
    return result;
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
    const Expected expected = replace(source, table, room, flags);
    require(buffer.substr(0, control.out_count) == expected.text, "result");
    require(control.in_count == expected.read, "in_count");
    require((control.status & REPL_STOPPED) == (expected.status & REPL_STOPPED), "stopped");
    return 0;
}
