// Configuration files: the table, and that it reads back as itself.
#include "base/owned.h"
#include "fuzz/fuzz.h"
#include "lib/read_configuration.h"

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using Variables = std::map<std::string, std::string>;

struct FreeTable {
    void operator()(conf_data* table) const noexcept { conf_free_r(table); }
};

Variables read_file(std::string_view text) {
    const Descriptor file(memfd_create("conf", MFD_CLOEXEC));
    require(file &&
                write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            "a file in memory");
    const std::unique_ptr<conf_data, FreeTable> table(
        static_cast<conf_data*>(std::calloc(1, sizeof(conf_data))));
    const std::string name = "/proc/self/fd/" + std::to_string(file.get());
    require(conf_read_file_r(name.c_str(), table.get()) == 0, "any file can be read");
    require(table->nmemb <= table->size, "entries within the array");
    Variables variables;
    for (std::size_t i = 0; i < table->nmemb; ++i) {
        const conf_entry& entry = table->data[i];
        require(i == 0 || std::strcmp(table->data[i - 1].key, entry.key) < 0, "sorted, unique");
        require(conf_get_r(entry.key, table.get()) == entry.value, "every variable is found");
        variables.emplace(entry.key, entry.value);
    }
    return variables;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    const Variables variables = read_file(text);
    std::string written;
    for (const auto& [name, value] : variables)
        written.append(name).append("\t").append(value).append(" # comment\n");
    require(read_file(written) == variables, "reads back as itself");
    return 0;
}
