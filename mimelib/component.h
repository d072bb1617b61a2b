// What all pieces of a message have in common.
#pragma once

#include "mimelib/string.h"

/// A piece of a message that knows its text. Copies share it.
class DwMessageComponent {
public:
    explicit DwMessageComponent(const DwString& text) : text_(text) {}

    /// The text as it stands in the message; shares the message's bytes.
    const DwString& AsString() const { return text_; }

private:
    DwString text_;
};

/// A field body without inner structure.
using DwText = DwMessageComponent;
