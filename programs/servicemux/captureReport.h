#pragma once

#include <string>
#include <vector>

#include "programs/tables/sets/Capture.h"

namespace vantor::cli {

/// What a user must know to judge what was read from a capture: versions left out, sections lost. One line each.
std::vector<std::string> captureNotes(const tables::Capture& capture);

/// Everything that was found, as a table of one line per kind of table.
std::vector<std::string> captureTable(const tables::Capture& capture);

/// What was found and is not imported, by name, in one line; empty when there is nothing of the kind.
std::string skippedSections(const tables::Capture& capture);

/// What is to be said of a capture whose tables go on air: the notes, and what is skipped.
std::vector<std::string> captureWarnings(const tables::Capture& capture);

}  // namespace vantor::cli
