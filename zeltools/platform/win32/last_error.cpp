// On Windows the last error is the system's own per-thread code, so that a
// code set by the library and one set by a system call read the same, and
// an application's own GetLastError sees what the library left.

#include "zeltools/platform/last_error.h"

#include "zeltools/platform/win32/system.h"

namespace zel {

unsigned int GetLastError() noexcept { return ::GetLastError(); }
void SetLastError(unsigned int code) noexcept { ::SetLastError(code); }

} // namespace zel
