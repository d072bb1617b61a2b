#include "reading/html_elements.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace orvek {

namespace {

constexpr std::size_t longest_name = 10;

/// The name in place: a table of pointers would have to be set right at every start.
struct Known {
    char name[longest_name + 1];
    std::uint16_t traits;
};

constexpr std::uint16_t block = html_block | html_ends_paragraph;
constexpr std::uint16_t apart = block | html_margin;
constexpr std::uint16_t cell = html_cell | html_scope | html_table_part;
constexpr std::uint16_t row = html_block | html_table_part;
constexpr std::uint16_t hidden_text = html_unseen | html_raw;

/// Sorted by name. Elements that are inline and nothing more need not be here.
constexpr Known elements[] = {
    {"address", block},
    {"applet", html_scope},
    {"area", html_void},
    {"article", block},
    {"aside", block},
    {"audio", html_unseen},
    {"base", html_void},
    {"basefont", html_void},
    {"bgsound", html_void},
    {"blockquote", apart},
    {"body", html_block},
    {"br", html_void},
    {"caption", html_block | html_scope | html_table_part},
    {"center", block},
    {"col", html_void},
    {"dd", block},
    {"details", block},
    {"dialog", block},
    {"dir", apart | html_list},
    {"div", block},
    {"dl", apart | html_list},
    {"dt", block},
    {"embed", html_void},
    {"fieldset", block},
    {"figcaption", block},
    {"figure", apart},
    {"footer", block},
    {"form", block},
    {"frame", html_void},
    {"h1", apart},
    {"h2", apart},
    {"h3", apart},
    {"h4", apart},
    {"h5", apart},
    {"h6", apart},
    {"head", html_block},
    {"header", block},
    {"hgroup", block},
    {"hr", apart | html_void},
    {"html", html_block | html_scope},
    {"iframe", hidden_text},
    {"img", html_void},
    {"input", html_void},
    {"keygen", html_void},
    {"legend", html_block},
    {"li", block},
    {"link", html_void},
    {"listing", apart | html_preformatted},
    {"main", block},
    {"marquee", html_scope},
    {"menu", apart | html_list},
    {"meta", html_void},
    {"nav", block},
    {"noembed", hidden_text},
    {"noframes", hidden_text},
    {"object", html_scope},
    {"ol", apart | html_list},
    {"optgroup", html_block},
    {"option", html_block},
    {"p", apart},
    {"param", html_void},
    {"plaintext", block | html_raw | html_preformatted},
    {"pre", apart | html_preformatted},
    {"rp", html_unseen},
    {"script", hidden_text},
    {"search", block},
    {"section", block},
    {"source", html_void},
    {"style", hidden_text},
    {"summary", block},
    {"table", block | html_scope | html_table_part},
    {"tbody", row},
    {"td", cell},
    {"template", html_unseen | html_scope},
    {"textarea", html_raw | html_references | html_preformatted},
    {"tfoot", row},
    {"th", cell},
    {"thead", row},
    {"title", hidden_text | html_references},
    {"tr", row},
    {"track", html_void},
    {"ul", apart | html_list},
    {"video", html_unseen},
    {"wbr", html_void},
    {"xmp", apart | html_raw | html_preformatted},
};

constexpr std::size_t first_unknown = 128;
static_assert(std::size(elements) < first_unknown);

HtmlElement unknown_element(std::string_view name) {
    unsigned sum = 0;
    for (const char c : name.substr(0, longest_name))
        sum = sum * 31 + static_cast<unsigned char>(to_lower(c));
    return {static_cast<std::uint8_t>(first_unknown + sum % first_unknown), 0};
}

} // namespace

HtmlElement find_html_element(std::string_view name) {
    if (name.size() > longest_name)
        return unknown_element(name);
    std::array<char, longest_name> lower;
    std::transform(name.begin(), name.end(), lower.begin(), [](char c) { return to_lower(c); });
    const std::string_view wanted(lower.data(), name.size());
    const Known* const found =
        std::lower_bound(std::begin(elements), std::end(elements), wanted,
                         [](const Known& known, std::string_view key) { return known.name < key; });
    if (found == std::end(elements) || found->name != wanted)
        return unknown_element(name);
    return {static_cast<std::uint8_t>(found - elements), found->traits};
}

} // namespace orvek
