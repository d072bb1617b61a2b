#include "reading/shown_charset.h"

#include "base/text.h"
#include "codecs/utf8.h"

#include <algorithm>

namespace orvek {

namespace {

/// A line for each charset: the name for iconv, and the labels that stand for it. What iconv knows
/// by the same name and means the same by is left out, such as the windows and koi8 charsets under
/// their usual names. One text, so that a start has no pointers in it to set right.
constexpr std::string_view labels = R"(
UTF-8 unicode-1-1-utf-8 unicode11utf8 unicode20utf8 utf-8 utf8 x-unicode20utf8
 ansi_x3.4-1968 ascii us-ascii iso646-us csascii us
CP1252 cp1252 cp819 csisolatin1 ibm819 iso-8859-1 iso-ir-100 iso8859-1 iso88591 iso_8859-1
CP1252 iso_8859-1:1987 l1 latin1 windows-1252 x-cp1252
CP866 866 cp866 csibm866 ibm866
ISO-8859-2 csisolatin2 iso-8859-2 iso-ir-101 iso8859-2 iso88592 iso_8859-2 iso_8859-2:1987 l2 latin2
ISO-8859-3 csisolatin3 iso-8859-3 iso-ir-109 iso8859-3 iso88593 iso_8859-3 iso_8859-3:1988 l3 latin3
ISO-8859-4 csisolatin4 iso-8859-4 iso-ir-110 iso8859-4 iso88594 iso_8859-4 iso_8859-4:1988 l4 latin4
ISO-8859-5 csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso8859-5 iso88595 iso_8859-5
ISO-8859-5 iso_8859-5:1988
ISO-8859-6 arabic asmo-708 csiso88596e csiso88596i csisolatinarabic ecma-114 iso-8859-6
ISO-8859-6 iso-8859-6-e iso-8859-6-i iso-ir-127 iso8859-6 iso88596 iso_8859-6 iso_8859-6:1987
ISO-8859-7 csisolatingreek ecma-118 elot_928 greek greek8 iso-8859-7 iso-ir-126 iso8859-7 iso88597
ISO-8859-7 iso_8859-7 iso_8859-7:1987 sun_eu_greek
ISO-8859-8 csiso88598e csisolatinhebrew hebrew iso-8859-8 iso-8859-8-e iso-ir-138 iso8859-8
ISO-8859-8 iso88598 iso_8859-8 iso_8859-8:1988 visual csiso88598i iso-8859-8-i logical
ISO-8859-10 csisolatin6 iso-8859-10 iso-ir-157 iso8859-10 iso885910 l6 latin6
ISO-8859-13 iso-8859-13 iso8859-13 iso885913
ISO-8859-14 iso-8859-14 iso8859-14 iso885914
ISO-8859-15 csisolatin9 iso-8859-15 iso8859-15 iso885915 iso_8859-15 l9
KOI8-R cskoi8r koi koi8 koi8-r koi8_r
KOI8-U koi8-ru koi8-u
MACINTOSH csmacintosh mac macintosh x-mac-roman
MAC-UK x-mac-cyrillic x-mac-ukrainian
CP874 dos-874 iso-8859-11 iso8859-11 iso885911 tis-620 windows-874
CP1250 cp1250 windows-1250 x-cp1250
CP1251 cp1251 windows-1251 x-cp1251
CP1253 cp1253 windows-1253 x-cp1253
CP1254 cp1254 csisolatin5 iso-8859-9 iso-ir-148 iso8859-9 iso88599 iso_8859-9 iso_8859-9:1989
CP1254 l5 latin5 windows-1254 x-cp1254
CP1255 cp1255 windows-1255 x-cp1255
CP1256 cp1256 windows-1256 x-cp1256
CP1257 cp1257 windows-1257 x-cp1257
CP1258 cp1258 windows-1258 x-cp1258
GB18030 chinese csgb2312 csiso58gb231280 gb2312 gb_2312 gb_2312-80 gbk iso-ir-58 x-gbk gb18030
BIG5-HKSCS big5 big5-hkscs cn-big5 csbig5 x-x-big5
EUC-JP-MS cseucpkdfmtjapanese euc-jp x-euc-jp
ISO-2022-JP csiso2022jp iso-2022-jp
CP932 csshiftjis ms932 ms_kanji shift-jis shift_jis sjis windows-31j x-sjis
UHC cseuckr csksc56011987 euc-kr iso-ir-149 korean ks_c_5601 ks_c_5601-1987 ks_c_5601-1989 ksc5601
UHC ksc_5601 windows-949
UTF-16BE unicodefffe utf-16be
UTF-16LE csunicode iso-10646-ucs-2 ucs-2 unicode unicodefeff utf-16le
)";

constexpr std::string_view blanks = " \t\r\n\f";

/// How long a text can become in any case. Only TSCII takes more than three bytes for one.
constexpr std::size_t allowance = 65536;

/// Whether text that does not say what it is is UTF-8: whole characters, the last of them perhaps
/// cut off. One that is alone beyond ASCII is more likely a letter of another charset.
bool looks_like_utf8(std::string_view text) {
    const std::string_view whole = without_cut_character(text);
    return well_formed_utf8_length(whole) == whole.size() &&
           (whole.size() == text.size() || ascii_length(whole) < whole.size());
}

/// The C library's converters let through UTF-8 of old, and halves of pairs of UTF-16.
std::string well_formed(std::string_view text) {
    return without_ill_formed_utf8(without_cut_character(text));
}

} // namespace

std::string charset_behind(std::string_view label) {
    const std::string_view name = trim(label, blanks);
    if (name.empty() || name.size() > max_charset_name ||
        name.find_first_of(blanks) != std::string_view::npos)
        return std::string(name);
    const std::string wanted = to_lower(name);
    // A label stands between a blank and a blank or the end of its line.
    for (std::size_t at = labels.find(' ' + wanted); at != std::string_view::npos;
         at = labels.find(' ' + wanted, at + 1)) {
        const char next = labels[at + 1 + wanted.size()];
        if (next != ' ' && next != '\n')
            continue;
        const std::size_t line = labels.rfind('\n', at) + 1;
        return std::string(labels.substr(line, labels.find(' ', line) - line));
    }
    return wanted;
}

Conversion& ShownCharsets::Charset::conversion() {
    if (!opened)
        opened.emplace(name.empty() ? "CP1252" : name, "UTF-8");
    return *opened;
}

bool ShownCharsets::Charset::is_known() {
    return name.empty() || name == "UTF-8" || conversion().is_open();
}

ShownCharsets::Charset& ShownCharsets::find(const std::string& label) {
    const auto known = charsets_.find(label);
    if (known != charsets_.end())
        return known->second;
    if (charsets_.size() >= most_charsets)
        return beyond_;
    return charsets_.try_emplace(label, charset_behind(label)).first->second;
}

bool ShownCharsets::know(const std::string& label) {
    Charset& charset = find(label);
    return &charset != &beyond_ && charset.is_known();
}

std::string ShownCharsets::to_utf8(std::string_view text, const std::string& label) {
    Charset& named = find(label);
    Charset& charset = named.is_known() ? named : beyond_;
    if (charset.name.empty() ? looks_like_utf8(text) : charset.name == "UTF-8")
        return well_formed(text);
    const std::size_t most = std::max(3 * text.size(), allowance);
    std::string result;
    result.reserve(most + Conversion::room); // what is not used is never touched
    charset.conversion().convert(text, result, no_character, most);
    charset.conversion().finish(result);
    if (well_formed_utf8_length(result) == result.size())
        return result;
    return well_formed(result);
}

} // namespace orvek
