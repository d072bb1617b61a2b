// Runs a fuzz target on files, without libFuzzer: replay FILE-OR-FOLDER...
//
// This is how inputs that are kept stay tests in every build, with every compiler.
#include "fuzz/fuzz.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> list_files(const fs::path& path) {
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

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
        for (const fs::path& file : list_files(argv[i])) {
            run(file);
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0 ? 1 : 0;
}
