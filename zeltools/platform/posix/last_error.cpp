// The last error is the library's own thread-local code here: errno is
// changed by too many calls in between to serve.

#include "zeltools/platform/last_error.h"

namespace zel {
namespace {

thread_local unsigned int lastError = 0;

} // namespace

unsigned int GetLastError() noexcept { return lastError; }
void SetLastError(unsigned int code) noexcept { lastError = code; }

} // namespace zel
