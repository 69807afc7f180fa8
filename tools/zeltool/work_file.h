#pragma once
// zeltool mark and zeltool blocks: what a work file says about itself.

#include "options.h"

namespace zeltool {

/// Prints the mark of the work file `command.file` (time, stored length)
/// and whether the stored length is the file's. A file that cannot be read
/// throws the library's `zel::Exception` naming it.
void RunMark(const Command& command);

/// Lists the blocks of the document `command.file` from its table of
/// contents (document_file.h). Returns 0 when every block lies inside the
/// file, 2 when some do not (they are listed, marked). A file whose table
/// cannot be read throws the library's `zel::Exception` naming it.
int RunBlocks(const Command& command);

} // namespace zeltool
