#pragma once
// zeltool demo: a plane truss taken through the library from model to
// report, every step printed, every result checked.

#include "options.h"

namespace zeltool {

/// Runs the demonstration, printing each step on standard output and the
/// paginated report into `command.report`. Returns
/// 0 when every check passed; otherwise prints the failed check on standard
/// error and returns 2. Library failures (the document file) throw
/// `zel::Exception`.
int RunDemo(const Command& command);

} // namespace zeltool
