// Subjects as mail programs show them.
#pragma once

#include <string>
#include <string_view>

/// The body of a Subject field, unfolded and with its encoded words decoded, wherever they stand:
/// in UTF-8, of one charset put together before they are converted. Encoded words in a charset or
/// an encoding that nobody knows stay as they are. The first 100 KB of the field are read.
std::string shown_subject(std::string_view field);

/// The text, which is UTF-8, with a blank for each control character.
std::string without_controls(std::string text);
