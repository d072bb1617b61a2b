#include "reading/html_references.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <utf8proc.h>

namespace orvek {

namespace {

/// The named references of HTML 4: the name, "=" where it counts without its semicolon as well or
/// else ";", and its character in hexadecimal.
constexpr std::string_view named_references =
    "AElig=C6 Aacute=C1 Acirc=C2 Agrave=C0 Alpha;391 Aring=C5 Atilde=C3 Auml=C4 Beta;392 "
    "Ccedil=C7 Chi;3A7 Dagger;2021 Delta;394 ETH=D0 Eacute=C9 Ecirc=CA Egrave=C8 Epsilon;395 "
    "Eta;397 Euml=CB Gamma;393 Iacute=CD Icirc=CE Igrave=CC Iota;399 Iuml=CF Kappa;39A "
    "Lambda;39B Mu;39C Ntilde=D1 Nu;39D OElig;152 Oacute=D3 Ocirc=D4 Ograve=D2 Omega;3A9 "
    "Omicron;39F Oslash=D8 Otilde=D5 Ouml=D6 Phi;3A6 Pi;3A0 Prime;2033 Psi;3A8 Rho;3A1 "
    "Scaron;160 Sigma;3A3 THORN=DE Tau;3A4 Theta;398 Uacute=DA Ucirc=DB Ugrave=D9 Upsilon;3A5 "
    "Uuml=DC Xi;39E Yacute=DD Yuml;178 Zeta;396 aacute=E1 acirc=E2 acute=B4 aelig=E6 agrave=E0 "
    "alefsym;2135 alpha;3B1 amp=26 and;2227 ang;2220 aring=E5 asymp;2248 atilde=E3 auml=E4 "
    "bdquo;201E beta;3B2 brvbar=A6 bull;2022 cap;2229 ccedil=E7 cedil=B8 cent=A2 chi;3C7 "
    "circ;2C6 clubs;2663 cong;2245 copy=A9 crarr;21B5 cup;222A curren=A4 dArr;21D3 dagger;2020 "
    "darr;2193 deg=B0 delta;3B4 diams;2666 divide=F7 eacute=E9 ecirc=EA egrave=E8 empty;2205 "
    "emsp;2003 ensp;2002 epsilon;3B5 equiv;2261 eta;3B7 eth=F0 euml=EB euro;20AC exist;2203 "
    "fnof;192 forall;2200 frac12=BD frac14=BC frac34=BE frasl;2044 gamma;3B3 ge;2265 gt=3E "
    "hArr;21D4 harr;2194 hearts;2665 hellip;2026 iacute=ED icirc=EE iexcl=A1 igrave=EC "
    "image;2111 infin;221E int;222B iota;3B9 iquest=BF isin;2208 iuml=EF kappa;3BA lArr;21D0 "
    "lambda;3BB lang;2329 laquo=AB larr;2190 lceil;2308 ldquo;201C le;2264 lfloor;230A "
    "lowast;2217 loz;25CA lrm;200E lsaquo;2039 lsquo;2018 lt=3C macr=AF mdash;2014 micro=B5 "
    "middot=B7 minus;2212 mu;3BC nabla;2207 nbsp=A0 ndash;2013 ne;2260 ni;220B not=AC notin;2209 "
    "nsub;2284 ntilde=F1 nu;3BD oacute=F3 ocirc=F4 oelig;153 ograve=F2 oline;203E omega;3C9 "
    "omicron;3BF oplus;2295 or;2228 ordf=AA ordm=BA oslash=F8 otilde=F5 otimes;2297 ouml=F6 "
    "para=B6 part;2202 permil;2030 perp;22A5 phi;3C6 pi;3C0 piv;3D6 plusmn=B1 pound=A3 "
    "prime;2032 prod;220F prop;221D psi;3C8 quot=22 rArr;21D2 radic;221A rang;232A raquo=BB "
    "rarr;2192 rceil;2309 rdquo;201D real;211C reg=AE rfloor;230B rho;3C1 rlm;200F rsaquo;203A "
    "rsquo;2019 sbquo;201A scaron;161 sdot;22C5 sect=A7 shy=AD sigma;3C3 sigmaf;3C2 sim;223C "
    "spades;2660 sub;2282 sube;2286 sum;2211 sup;2283 sup1=B9 sup2=B2 sup3=B3 supe;2287 szlig=DF "
    "tau;3C4 there4;2234 theta;3B8 thetasym;3D1 thinsp;2009 thorn=FE tilde;2DC times=D7 "
    "trade;2122 uArr;21D1 uacute=FA uarr;2191 ucirc=FB ugrave=F9 uml=A8 upsih;3D2 upsilon;3C5 "
    "uuml=FC weierp;2118 xi;3BE yacute=FD yen=A5 yuml=FF zeta;3B6 zwj;200D zwnj;200C";

constexpr std::size_t longest_name = 8;
constexpr std::size_t longest_without_semicolon = 6;

void append_character(utf8proc_int32_t c, std::string& out) {
    std::array<utf8proc_uint8_t, 4> bytes;
    const utf8proc_ssize_t length = utf8proc_encode_char(c, bytes.data());
    out.append(bytes.begin(), bytes.begin() + length);
}

/// What a number in a reference stands for: those of the C1 controls are windows-1252's.
utf8proc_int32_t character_of(unsigned number) {
    constexpr std::uint16_t windows[] = {
        0x20ac, 0x81,   0x201a, 0x192,  0x201e, 0x2026, 0x2020, 0x2021, 0x2c6,  0x2030, 0x160,
        0x2039, 0x152,  0x8d,   0x17d,  0x8f,   0x90,   0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
        0x2013, 0x2014, 0x2dc,  0x2122, 0x161,  0x203a, 0x153,  0x9d,   0x17e,  0x178};
    if (number == 0 || number > 0x10ffff || (number >= 0xd800 && number <= 0xdfff))
        return 0xfffd;
    return static_cast<utf8proc_int32_t>(number >= 0x80 && number <= 0x9f ? windows[number - 0x80]
                                                                          : number);
}

std::size_t resolve_number(std::string_view text, std::string& out) {
    const bool hexadecimal = text.size() > 2 && (text[2] | 0x20) == 'x';
    const char* const digits = text.data() + (hexadecimal ? 3 : 2);
    const char* const text_end = text.data() + text.size();
    unsigned number = 0; // stays so, and is no character, where what stands there is too large
    const auto [end, error] = std::from_chars(digits, text_end, number, hexadecimal ? 16 : 10);
    if (error == std::errc::invalid_argument)
        return 0;
    append_character(character_of(number), out);
    const auto length = static_cast<std::size_t>(end - text.data());
    return end != text_end && *end == ';' ? length + 1 : length;
}

struct Named {
    std::array<char, longest_name> letters = {};
    std::uint8_t length = 0;
    bool needs_semicolon = false;
    std::uint16_t character = 0;

    constexpr std::string_view name() const { return {letters.data(), length}; }
};

/// Sorted by name, and without pointers, which would have to be set right at every start.
constexpr auto references = [] {
    std::array<Named, 252> all;
    std::string_view rest = named_references;
    for (Named& named : all) {
        for (; is_alphanumeric(rest.front()); rest.remove_prefix(1))
            named.letters[named.length++] = rest.front();
        named.needs_semicolon = rest.front() == ';';
        for (rest.remove_prefix(1); !rest.empty() && rest.front() != ' '; rest.remove_prefix(1))
            named.character =
                static_cast<std::uint16_t>(named.character * 16 + hex_value(rest.front()));
        rest.remove_prefix(std::min<std::size_t>(1, rest.size()));
    }
    return all;
}();

/// Null when there is none.
const Named* find_reference(std::string_view name) {
    const auto found = std::ranges::lower_bound(references, name, {}, &Named::name);
    return found != references.end() && found->name() == name ? &*found : nullptr;
}

std::size_t resolve_name(std::string_view text, std::string& out) {
    std::size_t length = 0;
    while (length < longest_name && 1 + length < text.size() && is_alphanumeric(text[1 + length]))
        ++length;
    const Named* named = nullptr;
    std::size_t consumed = length + 2;
    if (text.substr(1 + length, 1) == ";")
        named = find_reference(text.substr(1, length));
    for (length = std::min(length, longest_without_semicolon); named == nullptr && length > 1;
         --length) {
        named = find_reference(text.substr(1, length));
        if (named != nullptr && named->needs_semicolon)
            named = nullptr;
        consumed = length + 1;
    }
    if (named == nullptr)
        return 0;
    append_character(named->character, out);
    return consumed;
}

} // namespace

std::size_t resolve_reference(std::string_view text, std::string& out) {
    return text.size() > 1 && text[1] == '#' ? resolve_number(text, out) : resolve_name(text, out);
}

} // namespace orvek
