#pragma once
// Shared objects (the stand-in for LoadLibraryA/GetProcAddress/FreeLibrary),
// used to read string tables compiled into an application's module. Every
// call sets the thread's last error: 0 on success, an errno-style code on
// failure. Not part of the installed interface.

namespace zel::platform {

/// Loads the shared object `path` (a name without '/' is searched for on the
/// system's library path). Null when it cannot be loaded.
void* OpenSharedObject(const char* path) noexcept;

/// The address of the exported symbol `name` of `object`, or null.
void* FindSymbol(void* object, const char* name) noexcept;

/// Releases a handle from `OpenSharedObject`.
void CloseSharedObject(void* object) noexcept;

} // namespace zel::platform
