#include "fuzz/differential/differences.h"

#include <map>
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#include <stdexcept>
#include <utility>

// Pieces of the expressions below.
#define FIELD R"((?:[!-9;-~]+[ \t]*:.*\n(?:[ \t].*\n)*+))"
#define WHITE R"((?:\r?\n(?=[ \t])|[ \t]))"
#define COMMENT R"((\((?:[^()\\]|\\.|(?-1))*+\)))"
#define CONTROL R"((?:[\0-\x08\x0B\x0C\x0E-\x1F\x7F]|\r(?!\n)))"
#define QUOTED R"("(?:[^"\\]|\\.)*+")"
#define ADDRESSES R"(^(?:From|Reply-To)[ \t]*:(?:.*\n[ \t])*.*?)"
#define IN_DISPLAY_NAME R"((?=(?:[^<>,;\n]|\n[ \t])*+<))"
#define CONTENT_TYPE R"(^Content-Type[ \t]*:(?:.*\n[ \t])*.*?)"
#define PARAMETER CONTENT_TYPE R"(;[ \t]*(?:\r?\n[ \t]+)?)"
#define VALUE_OF(attribute) PARAMETER attribute R"([ \t]*=[ \t]*)"
#define ENCODING R"(^Content-Transfer-Encoding[ \t]*:)"

const std::vector<Difference> differences = {
    // The first two often come together with others.
    {"line in the header that is no field", "the header ends before it: it may be text",
     R"(\A(?:(?-i:From )(?![ \t]*:).*\n)?+)" FIELD R"(*+\K(?!\r?\n|\z))", "\n"},
    {"line in a part's header that is no field", "as above",
     R"(\n--.*\n)" FIELD R"(*+\K(?!\r?\n|\z))", "\n"},
    {"second field of a name", "the first one counts",
     R"(^Content-(Type|Transfer-Encoding)[ \t]*:.*\n(?:[ \t].*\n)*+)" FIELD
     R"(*?\KContent-(?=\1[ \t]*:))",
     "X-"},

    {"NUL in a field", "does not end it", R"(^[!-9;-~]+[ \t]*:.*?\K\0)", "x"},
    {"NUL in a text taken from a field", "ends it",
     R"(^(?:Subject|Content-Type)[ \t]*:(?:.*\n[ \t])*.*?\K\s*\0(?:.|\n[ \t])*)", "", true},

    {"semicolon outside a group", "separates as a comma does",
     R"(^(?:From|Reply-To)[ \t]*:(?:(?:[^:;\n]|\n[ \t])*+:[^;\n]*+;[ \t]*+,?+)*+(?:[^:;\n]|\n[ \t])*+\K;)",
     ","},
    {"byte above 127 that is not UTF-8", "counts as a letter", ADDRESSES R"(\K[\x80-\xFF])", "x",
     true},
    {"quotes that an address does not need", "the address is the same without them",
     ADDRESSES R"~(\K"([\w.!#$%&'*+/=?^`{|}~-]+)"(?=\s*[@.]))~", "$1"},
    {"backslash that a quoted string does not need", "as above",
     ADDRESSES R"("[^"\n]*?\K\\(?=[^"\\\n]))", ""},
    {"name in ASCII form of IDN", "stays as it is", ADDRESSES R"(\Kxn-(?=-))", "xn", true},
    {"empty quoted local part", "a local part is not empty", ADDRESSES R"(\K""(?=\s*@))", ""},
    {"dots in a local part", "real senders have them at the end and in a row",
     ADDRESSES R"(\K(?:\.(?=\s*[.@])|(?<![^\s<,;:])\.))", "_", true},
    {"quoted string without an end", "it reaches to the end of the field",
     R"(^(?:From|Reply-To)[ \t]*:(?:[^"\n]|\n[ \t]|)" QUOTED R"()*+\K"(?:.|\n[ \t])*)", ""},
    {"domain literal without an end", "as above",
     ADDRESSES R"(\K[^\s,;]*\[(?:[^]\n]|\n[ \t])*(?=\n|\z))", ""},
    {"comment without an end", "it reaches to the end of the field",
     ADDRESSES R"(\K\((?:[^()\\\n]|\\.|\n[ \t]|)" COMMENT R"()*+(?=\n|\z))", ""},
    {"comment in a list with an error", "what it holds is no address", ADDRESSES R"(\K)" COMMENT,
     " "},
    {"< without >", "the address is plain enough",
     ADDRESSES R"(<(?:[^<>\r\n,]|\r?\n[ \t])*+\K(?!>))", ">"},
    {"dot at the end of a domain", "it is the same domain",
     ADDRESSES R"(@[^\s,;<>()]*?\K\.(?=[\s,;>)]|\z))", "", true},
    {"text behind >", "plays no part", ADDRESSES R"(>\K[^,;\n]*[^,;\s][^,;\n]*)", ""},
    {"< within < >", "then it is no address", ADDRESSES R"(<[^<>\n]*<[^;\n]*?\K@)", " "},
    {"source route with strange characters", "plays no part", ADDRESSES R"(<\K@[^>:\n]*:)", ""},
    {"@ in an encoded word", "then it is no address",
     ADDRESSES R"(=\?[^?\s]+\?[^?\s]+\?[^?\s]*\K@(?=[^?\s]*\?=))", " "},
    {"text behind an address without brackets", "then it is none",
     ADDRESSES R"(\K@(?=(?:\[[^\]\n]*\]|[^][\\"\s,;<>()@:]*+)(?:)" WHITE "|" COMMENT
               R"()*+(?![,;<>(]|\r?\n|\r?\z)))",
     " "},
    {"control character in an address", "then it is none",
     ADDRESSES R"((?:\K@(?=[^\s,;<>()@]*)" CONTROL ")|" CONTROL R"([^,;<>\n]*?\K@))", " "},
    {"@ in a display name", "what is in angle brackets is the address",
     ADDRESSES R"(\K@)" IN_DISPLAY_NAME, "."},
    {"control character in a display name", "as above", ADDRESSES R"(\K)" CONTROL IN_DISPLAY_NAME,
     "x"},
    {"special in a display name", "as above", ADDRESSES R"(\K[]>)\\[])" IN_DISPLAY_NAME, "x"},
    {"group whose name is no phrase", "it is a group, and passed over",
     R"(^((?:From|Reply-To)[ \t]*:(?:[^:;\n]*:[^;\n]*;)*?[,\s]*)(?! x:)[^:,;<>\n]+:(?:[^;\n]|\n[ \t])*)",
     "$1 x:"},
    {"colon within a group", "as above", ADDRESSES R"((?:[^:;\n]*:[^:;\n]*;)*[^:;\n]*:[^:;\n]*\K:)",
     " "},
    {"@ in the name of a group", "as above", ADDRESSES R"(\K(?<![<,])@(?=[^:,;<>\n]*:))", "."},

    {"type without a subtype", "the type alone decides",
     R"(^Content-Type[ \t]*:\s*(?:text|multipart)\K)"
     R"((?![-\w]|[ \t]*/[ \t]*[-\w.+]+[ \t]*(?:[;(]|\r?\n|\z))[^;\n]*)",
     "/x"},
    {"strange character in a type", "the type is not known",
     R"(^Content-Type[ \t]*:\s*\K[-\w.+]*[^-\w.+/;(\s][^/;\n]*(?=/))", "x"},
    {"carriage return in a type", "it ends there", R"(^Content-Type[ \t]*:\s*\w*\K\r(?!\n)[^;\n]*)",
     "/x"},
    {"comment in a content type", "RFC 2045 5.1 allows it, outside the value",
     CONTENT_TYPE R"(\K\([^()\n]*(?:\)|(?=\r?$)))", " "},
    {"RFC 2231 parameter", "attributes count as written",
     PARAMETER R"((?:charset|boundary)\K\*[0-9*]*(?=[ \t]*=))", "x"},
    {"charset without a value", "then it is empty",
     PARAMETER R"(charset\K(?:[ \t\r]*=?[ \t\r]*(?=;|\r?\n)|[ \t\r]+(?![=\s])[^;\n]*|"[^;\n]*))",
     "=US-ASCII", true},
    {"byte above 127 in a charset", "stays as it is", VALUE_OF("charset") R"(.*\K[\x80-\xFF])", "x",
     true},
    {"special in a charset", "as above", VALUE_OF("charset") R"([^";\s(]*?\K[][:<>,?=\\])", "x",
     true},
    {"encoded word as a charset", "RFC 2047 5 forbids it: it is no more than its characters",
     VALUE_OF("charset") R"(.*\K=\?)", "=!", true},
    {"backslash at the end of a value", "stays there", CONTENT_TYPE R"(\K\\(?=\r?$))", "x", true},
    {"quoted value without an end", "it reaches to the end of the field",
     VALUE_OF(R"(\w+)") R"("[^"\n]*\K(?=\r?$))", "\""},
    {"text behind a value", "it ends at white space, or at its closing quote",
     VALUE_OF(R"(\w+)") R"((?:(?!")[^(; \t\r\n]+\K(?:[ \t]|\r(?!\n)|\r?\n[ \t])|)" QUOTED
                        R"(\K(?=[^;\s]))(?:[^;\n]|\n[ \t])+)",
     ""},
    {"parameter that is none", "it does not hide those behind it",
     PARAMETER R"(\K(?:[^=;"\n]+|[^=;"\n]*)" QUOTED
               R"([^;\n]*|[-\w*]+(?:[ \t]+[^=;\s][^;\n]*|=[ \t]*));)",
     ""},
    {"parameter without a name", "as above", PARAMETER R"(\K=[^;\n]*)", "x=x"},
    {"attribute with strange characters", "as above",
     PARAMETER R"(\K[^=;"\n]*[^-\w=;"\n* \t](?:[^=;"\n]|\n[ \t])*=)", "x="},

    {"comment beside a transfer encoding", "RFC 2045 6.1 allows it",
     ENCODING R"(.*?\K(?:)" COMMENT R"(|\(.*))", ""},
    {"text behind a transfer encoding", "it does not change the name",
     ENCODING R"([ \t]*[-\w]+\K(?:[ \t]*;|\r(?!\n)).*)", ""},
    {"uuencode", "counts as unknown: the text stays as it is", ENCODING R"([ \t]*\K(?:x-)?(?=uu))",
     "un"},
    {"blanks at the end of a soft line break", "RFC 2045 6.7: they were added on the way",
     R"(=\K[ \t]+(?=\r?\n))", ""},
    {"malformed = before another one, or at the end", "it stays as written",
     R"((?:^--.*==(?:--)?[ \t]*\r?$|boundary="?=.*)(*SKIP)(*F)|)"
     R"(=(?=.?=(?:[0-9A-F]{2}|[ \t]*\r?\n)|.?\n?\z))",
     "=3D"},
    {"malformed = before another one in a line that begins with --", "as above",
     R"(^--.*?\K=(?==[0-9A-F]{2}|.?\n?\z))", "=3D"},
    {"base64 without its padding", "what is there is decoded", R"((?<!==)\z)", "=="},
    {"base64 without its padding in a part", "as above", R"((?<=[\w+/])(?=\r?\n--))", "=="},

    {"part that has parts", "only direct parts count, so its delimiters mean nothing",
     R"(^--.*\n)" FIELD R"(*?Content-Type[ \t]*:\s*\K(?=multipart|message))", "x-"},
    {"CRLF before a delimiter line that ends in LF", "all of the line end belongs to the delimiter",
     R"(\r(?=\n--.*(?<!\r)(?:\n|\z)))", ""},
    {"LF before a delimiter line that ends in CRLF", "as above: GMime takes a byte too many",
     R"((?<!\r)\n(?=--.*\r(?:\n|\z)))", "\r\n"},
    {"empty boundary", "it is none", R"(boundary[ \t]*=[ \t]*"")", "x=x"},
    {"boundary that ends in blanks", "RFC 2046 5.1.1: the lines lose theirs on the way",
     R"(boundary[ \t]*=[ \t]*"[^"\n]*?\K[ \t]+(?="))", ""},
};

namespace {

PCRE2_SPTR bytes_of(const char* text) {
    return reinterpret_cast<PCRE2_SPTR>(text);
}

} // namespace

std::string without_cause(const Difference& difference, bool first_only,
                          const std::string& message) {
    static std::map<const Difference*, pcre2_code*> compiled;
    pcre2_code*& regex = compiled[&difference];
    if (regex == nullptr) {
        pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
        pcre2_set_newline(context, PCRE2_NEWLINE_LF);
        int error;
        std::size_t where;
        regex = pcre2_compile(bytes_of(difference.cause), PCRE2_ZERO_TERMINATED,
                              PCRE2_MULTILINE | PCRE2_CASELESS, &error, &where, context);
        pcre2_compile_context_free(context);
        if (regex == nullptr)
            throw std::runtime_error(std::string("not a regular expression: ") + difference.kind);
    }
    std::string result = message, before;
    for (int round = 0; result != before && round < (first_only ? 1 : 20); ++round) {
        before = std::exchange(result, std::string(2 * result.size() + 256, '\0'));
        std::size_t length = result.size();
        if (pcre2_substitute(regex, bytes_of(before.data()), before.size(), 0,
                             first_only ? 0 : PCRE2_SUBSTITUTE_GLOBAL, nullptr, nullptr,
                             bytes_of(difference.replacement), PCRE2_ZERO_TERMINATED,
                             reinterpret_cast<PCRE2_UCHAR*>(result.data()), &length) < 0)
            return message; // too hard for PCRE
        result.resize(length);
    }
    return result;
}
