#include "reading/html_elements.h"

#include "base/text.h"

#include <algorithm>
#include <array>

namespace orvek {

namespace {

constexpr std::size_t longest_name = 10;

/// The name in place: a table of pointers would have to be set right at every start.
struct Known {
    std::array<char, longest_name> letters = {};
    std::size_t length = 0;
    unsigned traits = 0;

    constexpr std::string_view name() const { return {letters.data(), length}; }
};

constexpr struct {
    unsigned traits;
    std::string_view names;
} groups[] = {
    {html_void,
     "area base basefont bgsound col embed frame img input keygen link meta param source "
     "track wbr"},
    {html_void | html_line_end, "br"},
    {html_void | html_block | html_margin, "hr"},
    {html_block, "address article aside body caption center details dialog div fieldset figcaption "
                 "footer form head header hgroup html legend main nav optgroup search section "
                 "summary tbody tfoot thead"},
    {html_block | html_item, "dd dt li option tr"},
    {html_block | html_list, "table"},
    {html_block | html_margin, "blockquote figure h1 h2 h3 h4 h5 h6"},
    {html_block | html_margin | html_list, "dir dl menu ol ul"},
    {html_block | html_margin | html_item | html_paragraph, "p"},
    {html_block | html_margin | html_preformatted, "listing pre xmp"},
    {html_cell | html_item, "td th"},
    {html_unseen, "audio rp template video"},
    {html_unseen | html_raw, "iframe noembed noframes script style title"},
    {html_raw, "textarea"},
};

/// Sorted by name.
constexpr auto elements = [] {
    std::array<Known, 81> all;
    auto next = all.begin();
    for (const auto& group : groups) {
        (next++)->traits = group.traits;
        for (const char c : group.names) {
            if (c == ' ')
                (next++)->traits = group.traits;
            else
                (next - 1)->letters[(next - 1)->length++] = c;
        }
    }
    std::ranges::sort(all, {}, &Known::name);
    return all;
}();
static_assert(elements.front().length > 0, "the array is as long as the names are many");

} // namespace

unsigned html_traits(std::string_view name) {
    std::array<char, longest_name> lower;
    if (name.size() > lower.size())
        return 0;
    std::transform(name.begin(), name.end(), lower.begin(), [](char c) { return to_lower(c); });
    const std::string_view wanted(lower.data(), name.size());
    const auto found = std::ranges::lower_bound(elements, wanted, {}, &Known::name);
    return found != elements.end() && found->name() == wanted ? found->traits : 0;
}

} // namespace orvek
