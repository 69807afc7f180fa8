#pragma once
/// \file
/// Debugging prints. The texts are written as they are (Windows-1251
/// bytes); none of these functions ever throws or fails visibly.

namespace zel {

/// Formats printf-style and appends the text to the debugging file, which is
/// opened in append mode for each call and closed again: "/tmp/debug.tmp"
/// here ("d:\debug.tmp" on Windows), or the file named by the environment
/// variable ZEL_DEBUG_FILE. Nothing happens when the file cannot be opened.
/// Texts of any length are written whole.
void dPrintf(const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
    __attribute__((format(gnu_printf, 1, 2)))
#elif defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// `dPrintf` with the local time in front, as "YYYY-MM-DD hh:mm:ss.mmm ".
void dPrintfTime(const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
    __attribute__((format(gnu_printf, 1, 2)))
#elif defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// Formats printf-style and writes the text to the debugging output (the
/// standard error stream; a Windows program without one writes to the
/// debugger).
void Printf(const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
    __attribute__((format(gnu_printf, 1, 2)))
#elif defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

} // namespace zel
