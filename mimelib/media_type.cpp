#include "mimelib/media_type.h"

#include "base/text.h"
#include "mimelib/field_text.h"

using mimelib::Scanner;

namespace {

/// Moves behind the next ";" outside comments and quotes, or to the end.
void skip_to_parameter(Scanner& field) {
    while (field.skip_white()) {
        if (field.peek() == '"')
            field.take_quoted();
        else if (field.take() == ';')
            return;
    }
}

std::string take_value(Scanner& field) {
    if (!field.take_behind_white('='))
        return {};
    if (!field.skip_white() || field.peek() != '"')
        return std::string(field.take_word(";("));
    std::string value = field.take_quoted();
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    return value;
}

} // namespace

DwMediaType::DwMediaType(const DwString& text) : DwMessageComponent(text) {
    Scanner field(AsString().view());
    const std::string_view type = field.take_word("/;(\"");
    type_ = equals_ignoring_case(type, "text")        ? DwMime::kTypeText
            : equals_ignoring_case(type, "multipart") ? DwMime::kTypeMultipart
                                                      : DwMime::kTypeUnknown;
    if (field.take_behind_white('/'))
        subtype_ = AsString().slice(field.take_word(";(\""));
    skip_to_parameter(field);
    parameters_ = AsString().substr(field.position());
}

bool DwMediaType::HasSubtype(std::string_view subtype) const {
    return equals_ignoring_case(subtype_.view(), subtype);
}

std::optional<DwString> DwMediaType::Parameter(std::string_view attribute) const {
    for (auto parameter = FirstParameter(); parameter; parameter = parameter->Next()) {
        if (equals_ignoring_case(parameter->Attribute().view(), attribute))
            return parameter->Value();
    }
    return std::nullopt;
}

std::optional<DwParameter> DwParameter::first_of(const DwString& text) {
    Scanner field(text.view());
    while (!field.at_end()) {
        DwParameter parameter;
        parameter.attribute_ = text.slice(field.take_word("=;(\""));
        parameter.value_ = DwString(take_value(field));
        skip_to_parameter(field);
        parameter.rest_ = text.substr(field.position());
        if (!parameter.attribute_.empty())
            return parameter;
    }
    return std::nullopt;
}

int DwMechanism::AsEnum() const {
    const std::string_view name = Scanner(AsString().view()).take_word(";(");
    return equals_ignoring_case(name, "quoted-printable") ? DwMime::kCteQuotedPrintable
           : equals_ignoring_case(name, "base64")         ? DwMime::kCteBase64
                                                          : DwMime::kCteUnknown;
}
