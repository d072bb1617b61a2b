#include "autoresponder/run/in_cell.h"

#include "lib/product_log.h"

#include <new>
#include <utility>

std::optional<cell::Texts> do_in_cell(cell::Work work, std::size_t size, std::string& why) {
    cell::Outcome outcome = cell::run(std::move(work), cell::limits_for(size));
    if (outcome.end == cell::End::not_made)
        end_with_failure("cell: fork() failed");
    if (outcome.end == cell::End::no_memory)
        throw std::bad_alloc();
    if (outcome.end == cell::End::answered)
        return std::move(outcome.texts);
    why = std::move(outcome.reason);
    return std::nullopt;
}
