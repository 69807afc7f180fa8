#include "zeltools/platform/shared_object.h"

#include <cerrno>
#include <dlfcn.h>

#include "zeltools/platform/last_error.h"

namespace zel::platform {

// The dynamic loader reports through dlerror() text, not errno; a failed
// open reads as "not found" (ENOENT), a missing symbol as ENOENT too.
void* OpenSharedObject(const char* path) noexcept {
  // Symbols bound now, so that a broken module fails here and not at a later
  // call; kept local, so that two modules' tables cannot be mistaken.
  void* object = path != nullptr ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
  SetLastError(object != nullptr ? 0u : static_cast<unsigned int>(ENOENT));
  return object;
}

void* FindSymbol(void* object, const char* name) noexcept {
  void* address = object != nullptr ? dlsym(object, name) : nullptr;
  SetLastError(address != nullptr ? 0u : static_cast<unsigned int>(ENOENT));
  return address;
}

void CloseSharedObject(void* object) noexcept {
  const bool ok = object != nullptr && dlclose(object) == 0;
  SetLastError(ok ? 0u : static_cast<unsigned int>(EINVAL));
}

} // namespace zel::platform
