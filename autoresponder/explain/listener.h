// Hears what the stages say, for it is part of an explanation.
#pragma once

#include "base/report.h"

#include <string>
#include <vector>

/// While it lives, what is said is kept. One at a time. When the process ends meanwhile, it goes
/// out where it was meant to.
class Listener {
public:
    Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener();

    /// What was said so far.
    const std::vector<std::string>& lines() const { return lines_; }

private:
    std::vector<std::string> lines_;
    Listening listening_;
};

/// What is said outside of that goes to standard error alone.
void hear_on_standard_error_only(std::string_view message);
