#include "fuzz/differential/opinion.h"

#include <cstring>
#include <gmime/gmime.h>
#include <memory>
#include <strings.h>

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <typename T>
using Owned = std::unique_ptr<T, Unref>;

std::string bytes_of(GMimeStream* stream) {
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

/// The first header of that name, as written; null when there is none.
const char* raw_header(GMimeObject* object, const char* name) {
    GMimeHeaderList* headers = g_mime_object_get_header_list(object);
    for (int i = 0; i < g_mime_header_list_get_count(headers); ++i) {
        GMimeHeader* header = g_mime_header_list_get_header_at(headers, i);
        if (strcasecmp(g_mime_header_get_name(header), name) == 0)
            return g_mime_header_get_raw_value(header);
    }
    return nullptr;
}

std::string trimmed(const char* value) {
    const std::string text = value == nullptr ? "" : value;
    const std::size_t start = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    return end == std::string::npos || end < start ? "" : text.substr(start, end + 1 - start);
}

/// The first address outside groups that has a local part and a domain.
std::string first_mailbox(const char* field) {
    static GMimeParserOptions* const strict = [] {
        GMimeParserOptions* options = g_mime_parser_options_new();
        g_mime_parser_options_set_address_compliance_mode(options, GMIME_RFC_COMPLIANCE_STRICT);
        return options;
    }();
    std::string found;
    InternetAddressList* list =
        field == nullptr ? nullptr : internet_address_list_parse(strict, field);
    for (int i = 0; list != nullptr && found.empty() && i < internet_address_list_length(list);
         ++i) {
        InternetAddress* address = internet_address_list_get_address(list, i);
        if (!INTERNET_ADDRESS_IS_MAILBOX(address))
            continue;
        const char* text = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address));
        const char* at = text == nullptr ? nullptr : std::strrchr(text, '@');
        if (at != nullptr && at != text && at[1] != '\0' && std::strchr(at, '"') == nullptr)
            found = text;
    }
    if (list != nullptr)
        g_object_unref(list);
    return found;
}

bool is_text(GMimeObject* object) {
    return g_mime_content_type_is_type(g_mime_object_get_content_type(object), "text", "*");
}

GMimeObject* choose(GMimeObject* root) {
    if (root == nullptr)
        return nullptr;
    if (!GMIME_IS_MULTIPART(root))
        return is_text(root) ? root : nullptr;
    GMimeMultipart* multipart = GMIME_MULTIPART(root);
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
        GMimeObject* part = g_mime_multipart_get_part(multipart, i);
        if (raw_header(part, "Content-Type") != nullptr && is_text(part))
            return part;
    }
    return nullptr;
}

void describe(GMimeObject* part, Opinion& opinion) {
    if (const char* charset = g_mime_object_get_content_type_parameter(part, "charset"))
        opinion.charset = charset;
    GMimeDataWrapper* content =
        GMIME_IS_PART(part) ? g_mime_part_get_content(GMIME_PART(part)) : nullptr;
    if (content == nullptr)
        return;
    const Owned<GMimeStream> raw(g_mime_stream_mem_new()), decoded(g_mime_stream_mem_new());
    g_mime_stream_write_to_stream(g_mime_data_wrapper_get_stream(content), raw.get());
    g_mime_data_wrapper_write_to_stream(content, decoded.get());
    opinion.part = bytes_of(raw.get());
    opinion.body = bytes_of(decoded.get());
}

} // namespace

Opinion gmime_opinion(const std::string& text) {
    Opinion opinion;
    opinion.charset = "US-ASCII";
    const Owned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
    const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    g_mime_parser_set_persist_stream(parser.get(), FALSE);
    const Owned<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
    if (message == nullptr)
        return opinion;
    GMimeObject* const top = GMIME_OBJECT(message.get());
    opinion.sender = first_mailbox(raw_header(top, "Reply-To"));
    if (opinion.sender.empty())
        opinion.sender = first_mailbox(raw_header(top, "From"));
    opinion.subject = trimmed(raw_header(top, "Subject"));
    if (GMimeObject* part = choose(g_mime_message_get_mime_part(message.get())))
        describe(part, opinion);
    return opinion;
}
