#pragma once
/// \file
/// The calling thread's last system error, kept the way the library's system
/// layer reports it: every system call made through that layer sets it, to the
/// system's code on failure and to 0 on success. On POSIX systems the code is
/// the `errno` value, kept per thread by the library; on Windows these are
/// the system's own `GetLastError` and `SetLastError`, so the code is a
/// Windows error code and one set by either side reads the same on the other.
///
/// The one public header of the platform layer: the layer keeps the code, and
/// everything above it reads it.

namespace zel {

/// The last error code of the calling thread (0 after a successful call).
unsigned int GetLastError() noexcept;
/// Overrides the calling thread's last error code.
void SetLastError(unsigned int code) noexcept;

} // namespace zel
