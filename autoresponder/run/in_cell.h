// Work in a cell (cell/cell.h), and what a run does where a cell fails.
#pragma once

#include "cell/cell.h"

#include <cstddef>
#include <optional>
#include <string>

/// What `work`, which is about `size` bytes, answers. None, with the reason in `why`, where the
/// cell broke. Where none can be made the process ends as it does without a child for sendmail; for
/// want of memory std::bad_alloc is thrown.
std::optional<cell::Texts> do_in_cell(cell::Work work, std::size_t size, std::string& why);
