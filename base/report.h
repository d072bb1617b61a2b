// The one way out for what is said: lines of English on standard error, or for whoever listens
// instead.
#pragma once

#include <functional>
#include <initializer_list>
#include <string_view>

/// Says the pieces one after the other, as they are, and a line end, in one write and without
/// memory of its own. Leaves errno alone; a failed write goes unnoticed, since there is no other
/// place to tell it.
void say(std::initializer_list<std::string_view> pieces);

/// The same for diagnostics of the application, which are one line whatever a piece holds that is
/// not ours: control characters stand in it as "\xHH", and a piece of more than 300 bytes is cut
/// there, with "..." behind. Takes memory for such pieces alone.
void report(std::initializer_list<std::string_view> pieces);

/// The same, with the pending system error behind the pieces: its text, a blank and its number in
/// parentheses.
void report_system_error(std::initializer_list<std::string_view> pieces);

/// Says, with the pending system error, that a file of the host's cannot be read; nothing where it
/// is not there, which is no failure.
void report_unreadable(const char* path);

/// The same for a line that only names what follows from what was said before: that stays what was
/// said last.
void report_consequence(std::initializer_list<std::string_view> pieces);

/// What was said last, its first 300 bytes; empty where nothing was.
std::string_view last_said();

/// While it lives, what is said goes to `hearer`, one message at a time and without its line end,
/// and to neither output stream. The last one that was made hears.
class Listening {
public:
    using Hearer = std::function<void(std::string_view message)>;
    explicit Listening(Hearer hearer);
    Listening& operator=(Listening&&) = delete; // is neither copied nor moved
    ~Listening();

    static bool is_on();

private:
    Hearer outer_;
};
