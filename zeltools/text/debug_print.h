#pragma once
/// \file
/// Debugging prints. The texts are written as they are (Windows-1251
/// bytes); none of these functions ever throws or fails visibly.

#include <string>

#if defined(__GNUC__)
#define ZEL_PRINTF_FORMAT(f, a) __attribute__((format(printf, f, a)))
#else
#define ZEL_PRINTF_FORMAT(f, a)
#endif

namespace zel {

/// Formats printf-style and appends the text to the debugging file, which is
/// opened in append mode for each call and closed again: "/tmp/debug.tmp"
/// here ("d:\debug.tmp" on Windows), or the file named by the environment
/// variable ZEL_DEBUG_FILE. Nothing happens when the file cannot be opened.
/// Texts of any length are written whole.
void dPrintf(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);

/// `dPrintf` with the local time in front, as "YYYY-MM-DD hh:mm:ss.mmm ".
void dPrintfTime(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);

/// Formats printf-style and writes the text to the debugging output (the
/// standard error stream here, the debugger's output on Windows).
void Printf(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);

} // namespace zel
