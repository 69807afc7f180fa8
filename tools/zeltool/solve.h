#pragma once
// zeltool solve: a symmetric system from a Matrix Market file, through the
// library's renumbering and band solver (or its dense Gauss solver).

#include "options.h"

namespace zeltool {

/// Runs the command, printing the report on standard output and the progress
/// bar on standard error when it is a terminal. Throws `InputError` for bad
/// input and a singular matrix.
void RunSolve(const Command& command);

} // namespace zeltool
