#pragma once
// The library formats texts whose printf formats arrive at run time: the
// message catalogue's entries and the callers' own formats passed on through
// the library's printf-like functions. A compiler cannot check such a format
// against its arguments, and warns that it is not a literal; these brackets
// say that the format is meant to come at run time, around the one call
// that uses it.

#if defined(__clang__)
#define ZEL_RUNTIME_FORMAT_BEGIN                                                                                     \
  _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wformat-nonliteral\"")
#define ZEL_RUNTIME_FORMAT_END _Pragma("clang diagnostic pop")
#elif defined(__GNUC__)
#define ZEL_RUNTIME_FORMAT_BEGIN                                                                                     \
  _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wformat-nonliteral\"")
#define ZEL_RUNTIME_FORMAT_END _Pragma("GCC diagnostic pop")
#else
#define ZEL_RUNTIME_FORMAT_BEGIN
#define ZEL_RUNTIME_FORMAT_END
#endif
