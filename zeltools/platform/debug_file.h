#pragma once
// The system side of the debugging print: one fixed file opened in append
// mode for each text, the debugging output (standard error), and the wall
// clock.
//
// Not part of the installed interface.

#include <cstddef>

#include "zeltools/platform/platform.h"

namespace zel::platform {

/// Opens the debugging file in append mode (creating it, for its owner
/// only), writes `length` bytes of `text` and closes it again. The file is
/// "/tmp/debug.tmp" ("d:\\debug.tmp" on Windows) unless the environment variable ZEL_DEBUG_FILE names
/// another, read at each call. A symbolic link or anything but a regular file
/// at that name is refused: in a folder that everyone can write to, a link
/// planted there must not make the library append to a file of its choosing.
/// Returns false when the file cannot be opened or written. Sets the thread's
/// last error.
bool AppendDebugFile(const char* text, std::size_t length) noexcept;

/// Writes `length` bytes of `text` to the process's debugging output, the
/// standard error stream here. Returns false when it cannot be written.
bool WriteDebugOutput(const char* text, std::size_t length) noexcept;

/// The local wall-clock time now.
bool LocalTimeNow(LocalTime& time) noexcept;

} // namespace zel::platform
