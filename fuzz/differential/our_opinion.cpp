#include "autoresponder/intake.h"
#include "base/text.h"
#include "fuzz/differential/opinion.h"

Opinion our_opinion(const std::string& text) {
    const auto message = DwMessage::NewMessage(DwString(text));
    message->Parse();
    Opinion opinion;
    if (const auto sender = find_sender(message->Headers()))
        opinion.sender = sender->LocalPart().str() + "@" + sender->Domain().str();
    opinion.subject = until_nul(message->Headers().Subject().AsString().view());
    opinion.charset = "US-ASCII";
    if (const auto entity = find_text_entity(*message)) {
        DwString body;
        DecodeBody(*entity, body);
        opinion.charset = until_nul(GetCharset(*entity).view());
        opinion.part = entity->Body().AsString().str();
        opinion.body = body.str();
    }
    return opinion;
}
