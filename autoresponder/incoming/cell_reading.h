// The reading of a message in a cell, so that whoever breaks it has nothing but its answer. That is
// a stranger's text: it is a Reading only where it has the form of one.
#pragma once

#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/switches.h"
#include "cell/cell.h"
#include "mimelib/mimelib.h"

#include <optional>
#include <string>
#include <vector>

/// As read_content, whose diagnostics are reported here. A cell that breaks, or answers what is no
/// Reading, is reported and gives no value; where the cell fails for other reasons, see do_in_cell.
std::optional<Reading> read_in_cell(DwString text, const char* recipient, const Policy& policy);

namespace cell_reading {

/// What comes of reading a message.
struct Told {
    std::vector<std::string> said;
    std::optional<Reading> reading;
};

/// As texts, the recipient left out, and back. No value where one of them does not have the form
/// that Reading promises.
cell::Texts texts_of(Told told);
std::optional<Told> told_by(cell::Texts texts, const Policy& policy);

} // namespace cell_reading
