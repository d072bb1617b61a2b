// What all pieces of a message have in common.
#pragma once

#include "mimelib/string.h"

/// A piece of a message that knows its text. Copies share it.
class DwMessageComponent {
public:
    /// The text as it stands in the message; shares the message's bytes.
    const DwString& AsString() const { return text_; }

protected:
    explicit DwMessageComponent(const DwString& text) : text_(text) {}
    ~DwMessageComponent() = default;
    DwMessageComponent(const DwMessageComponent&) = default;
    DwMessageComponent& operator=(const DwMessageComponent&) = default;

private:
    DwString text_;
};

/// A field body without inner structure.
class DwText : public DwMessageComponent {
public:
    explicit DwText(const DwString& text) : DwMessageComponent(text) {}
};
