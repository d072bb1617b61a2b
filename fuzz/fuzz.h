// What the fuzz targets share. A target is a file with one LLVMFuzzerTestOneInput; it is linked
// with libFuzzer to look for inputs, and with replay.cpp to run those that are kept.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Runs one input. Returns 0; a property that does not hold ends the process.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

/// Ends the process with abort() unless `holds`.
inline void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: does not hold: %s\n", property);
    std::abort();
}

inline std::string_view as_text(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Takes the front of `text` up to `delimiter`, which goes as well, or all of it.
inline std::string_view take_until(std::string_view& text, char delimiter) {
    const std::size_t end = text.find(delimiter);
    const std::string_view front = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return front;
}
