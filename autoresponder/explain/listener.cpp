#include "autoresponder/explain/listener.h"

#include "base/io.h"
#include "base/text.h"

#include <cstdlib>
#include <unistd.h>

namespace {

const std::vector<std::string>* unread = nullptr;

void pass_on_at_exit() noexcept {
    if (unread == nullptr)
        return;
    for (const std::string& line : *unread)
        hear_on_standard_error_only(line);
}

} // namespace

Listener::Listener()
    : listening_([this](std::string_view message) { lines_.emplace_back(message); }) {
    static const int registered = std::atexit(pass_on_at_exit);
    static_cast<void>(registered);
    unread = &lines_;
}

Listener::~Listener() {
    unread = nullptr;
}

void hear_on_standard_error_only(std::string_view message) {
    write_fully(STDERR_FILENO, concat({message, "\n"}));
}
