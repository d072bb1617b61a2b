// Runs a fuzz target on files, without libFuzzer: replay FOLDER...
//
// This is how inputs that are kept stay tests in every build, with every compiler.
#include "fuzz/fuzz.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;

/// On the heap and no larger than the input, so that reading behind it is seen.
void run(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    require(stream.good(), file.c_str());
    const std::unique_ptr<unsigned char[]> data(new unsigned char[text.size()]);
    std::copy(text.begin(), text.end(), data.get());
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(data.get(), text.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
            run(entry.path());
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0 ? 1 : 0;
}
