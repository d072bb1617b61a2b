// Diagnostics of the application: single English lines on standard error.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

/// Writes the pieces one after the other and a line end to standard error in one write. Leaves
/// errno alone; a failed write goes unnoticed, since there is no other place to tell it.
void report(std::initializer_list<std::string_view> pieces);

/// The last line that was reported, without its end; empty before the first.
const std::string& last_report();

/// The same, with the pending system error behind the pieces: its text, a blank and its number in
/// parentheses.
void report_system_error(std::initializer_list<std::string_view> pieces);
