#include "autoresponder/incoming/parts.h"

#include "autoresponder/incoming/parameter.h"
#include "base/text.h"

namespace {

constexpr std::size_t most_parts = 10'000;
constexpr std::size_t most_nested = 16;

bool is_forwarded_mail(const DwEntity& entity) {
    const std::string type = to_lower(entity.Headers().ContentType().AsString().view());
    return type.starts_with("message/rfc822");
}

std::optional<DwBodyPart> first_part(const DwEntity& multipart) {
    const DwString boundary(shown_parameter(multipart.Headers().ContentType(), "boundary"));
    return DwBody(multipart.Body().AsString(), boundary).FirstBodyPart();
}

} // namespace

PartKind kind_of(const DwEntity& entity) {
    const DwMediaType& type = entity.Headers().ContentType();
    if (is_attachment(entity))
        return PartKind::nothing;
    if (type.AsString().empty())
        return PartKind::plain;
    if (type.Type() == DwMime::kTypeMultipart)
        return type.HasSubtype("digest") ? PartKind::nothing : PartKind::html_or_multipart;
    if (type.Type() != DwMime::kTypeText)
        return PartKind::nothing;
    if (type.HasSubtype("html"))
        return PartKind::html_or_multipart;
    return type.HasSubtype("plain") || type.HasSubtype("") ? PartKind::plain : PartKind::other_text;
}

PartWalk::Level::Level(const DwEntity& multipart, Over over)
    : over_(over), alternatives_(multipart.Headers().ContentType().HasSubtype("alternative")),
      unread_(first_part(multipart)) {}

bool PartWalk::Level::next(std::size_t& left) {
    while (unread_ && left > 0) {
        --left;
        const PartKind kind = kind_of(*unread_);
        part_ = Part{*unread_, ++count_};
        unread_ = unread_->Next();
        if (over_ == Over::all || kind == PartKind::plain ||
            (!alternatives_ && kind != PartKind::nothing))
            return true;
        if (kind != PartKind::nothing)
            waiting_.emplace(kind, *part_);
    }
    if (waiting_.empty())
        return false;
    part_ = waiting_.extract(waiting_.begin()).mapped();
    return true;
}

PartWalk::PartWalk(const DwMessage& mail, Over over) : over_(over), left_(most_parts) {
    if (over == Over::all || kind_of(mail) != PartKind::nothing)
        levels_.emplace_back(mail);
}

bool PartWalk::next() {
    while (!levels_.empty()) {
        if (!levels_.back().next(left_)) {
            levels_.pop_back();
            continue;
        }
        const DwEntity entity = part();
        const bool forwarded = over_ == Over::all && is_forwarded_mail(entity);
        if (!forwarded && entity.Headers().ContentType().Type() != DwMime::kTypeMultipart)
            return true;
        if (levels_.size() > most_nested)
            continue;
        if (forwarded) {
            const auto mail = DwMessage::NewMessage(entity.Body().AsString());
            mail->Parse();
            levels_.emplace_back(*mail);
        } else {
            levels_.emplace_back(entity, over_);
        }
    }
    return false;
}

std::string PartWalk::number() const {
    std::string number;
    for (std::size_t level = 1; level < levels_.size(); ++level)
        number.append(number.empty() ? "" : ".")
            .append(std::to_string(levels_[level].part().number));
    return number;
}
