// Memory for large mails. A mail of 25 MB is held two or three times (as it came, decoded, in
// UTF-8), and most of what that costs is the kernel's work to hand out so many pages of 4 KiB one
// by one. So blocks of several MB are laid out for huge pages, and the kernel is asked to use them:
// where it does, it is called once for every 2 MiB. Everything else is the allocator as it is.
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <sys/mman.h>

namespace {

constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t large = 2 * huge_page;

void* allocate_large(std::size_t size) {
    if (size > std::numeric_limits<std::ptrdiff_t>::max() - huge_page)
        return nullptr;
    const std::size_t whole_pages = (size + huge_page - 1) / huge_page * huge_page;
    void* const block = std::aligned_alloc(huge_page, whole_pages);
    if (block != nullptr)
        madvise(block, whole_pages, MADV_HUGEPAGE);
    return block;
}

} // namespace

void* operator new(std::size_t size) {
    void* const block = size < large ? std::malloc(size + (size == 0)) : allocate_large(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
