#pragma once
// The system error codes that the library itself sets or tests, named by what
// they mean. Their values are the running system's own (errno values here,
// GetLastError values on Windows), so that the thread's last error reads the
// same whether the system or the library set it, and the system's text for it
// fits.
//
// Not part of the installed interface.

#if !defined(_WIN32)
#include <cerrno>
#endif

namespace zel::platform {

#if defined(_WIN32)
// The values of the system's ERROR_ names, written out so that no header
// above the platform layer sees the system's own headers (and their macros);
// the Windows layer checks them against those names.
//
// Synchronous calls are not interrupted by signals on Windows; the nearest
// case is an I/O cancelled by another thread, which is worth one more try.
inline constexpr unsigned int ErrorInterrupted = 995; // ERROR_OPERATION_ABORTED
inline constexpr unsigned int ErrorSharing = 32;      // ERROR_SHARING_VIOLATION
inline constexpr unsigned int ErrorLocked = 33;       // ERROR_LOCK_VIOLATION
inline constexpr unsigned int ErrorDiskFull = 112;    // ERROR_DISK_FULL
inline constexpr unsigned int ErrorAccess = 5;        // ERROR_ACCESS_DENIED
inline constexpr unsigned int ErrorInvalid = 87;      // ERROR_INVALID_PARAMETER
inline constexpr unsigned int ErrorTooLarge = 223;    // ERROR_FILE_TOO_LARGE
inline constexpr unsigned int ErrorBadHandle = 6;     // ERROR_INVALID_HANDLE
inline constexpr unsigned int ErrorNameTooLong = 206; // ERROR_FILENAME_EXCED_RANGE
inline constexpr unsigned int ErrorNotFound = 2;      // ERROR_FILE_NOT_FOUND
inline constexpr unsigned int ErrorPathNotFound = 3;  // ERROR_PATH_NOT_FOUND
inline constexpr unsigned int ErrorIsFolder = 336;    // ERROR_DIRECTORY_NOT_SUPPORTED
// A name that leads elsewhere (a symbolic link or junction) where the file
// itself is wanted.
inline constexpr unsigned int ErrorLink = 1921;  // ERROR_CANT_RESOLVE_FILENAME
inline constexpr unsigned int ErrorNoMemory = 8; // ERROR_NOT_ENOUGH_MEMORY
inline constexpr unsigned int ErrorIo = 31;      // ERROR_GEN_FAILURE
#else
inline constexpr unsigned int ErrorInterrupted = EINTR;
inline constexpr unsigned int ErrorSharing = EBUSY;
inline constexpr unsigned int ErrorLocked = EWOULDBLOCK;
inline constexpr unsigned int ErrorDiskFull = ENOSPC;
inline constexpr unsigned int ErrorAccess = EACCES;
inline constexpr unsigned int ErrorInvalid = EINVAL;
inline constexpr unsigned int ErrorTooLarge = EFBIG;
inline constexpr unsigned int ErrorBadHandle = EBADF;
inline constexpr unsigned int ErrorNameTooLong = ENAMETOOLONG;
inline constexpr unsigned int ErrorNotFound = ENOENT;
inline constexpr unsigned int ErrorPathNotFound = ENOTDIR;
inline constexpr unsigned int ErrorIsFolder = EISDIR;
inline constexpr unsigned int ErrorLink = ELOOP;
inline constexpr unsigned int ErrorNoMemory = ENOMEM;
inline constexpr unsigned int ErrorIo = EIO;
#endif

} // namespace zel::platform
