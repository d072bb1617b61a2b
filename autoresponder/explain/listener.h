// Hears what the stages say on standard error, for it is part of an explanation.
#pragma once

#include <string>
#include <vector>

/// While it lives, standard error goes into memory. One at a time. When the process ends meanwhile,
/// what was said goes out where it was meant to.
class Listener {
public:
    Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener();

    /// The lines that were said so far.
    std::vector<std::string> lines() const;
};

/// Has standard output lead nowhere while it lives: what stages say twice is said there as well.
class SilentOutput {
public:
    SilentOutput();
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;
    ~SilentOutput();

private:
    int output_;
};
