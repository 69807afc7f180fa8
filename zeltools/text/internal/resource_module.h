#pragma once
// Resource modules behind `CResurce`'s module handle. Not part of the
// installed interface.
//
// A module handle is the address of a module record kept in a process-wide
// registry; the record holds the module's string tables and counts its
// holders, so that objects sharing a handle free it once, when the last of
// them lets go. The registry outlives every holder: it is never destroyed,
// so an object released during static destruction still finds it.

#include <string>

namespace zel::internal {

/// Loads the module named `fileName` with one holder:
/// - the name "ZelTools.dll" (any folder, any case): the library's own
///   catalogue;
/// - a shared object (an ELF file, or a name without '/' that the system's
///   library path finds): the string tables compiled into it by
///   `zel_add_string_tables`, or none when it has none;
/// - any other readable file: a resource script.
/// Null when the file is not found or cannot be loaded. A malformed script or
/// damaged compiled tables throw `Exception` (code 2).
void* LoadResourceModule(const std::string& fileName);

/// Adds a holder to `module`. A handle from this registry is shared; any
/// other non-null pointer is taken as a handle of the system's loader (from
/// dlopen), which the registry then owns and closes when its last holder lets
/// go; the same loader handle given twice maps to one module. Null gives null.
void* AcquireResourceModule(void* module);

/// Removes a holder; the last one frees the module. Null is ignored.
void ReleaseResourceModule(void* module) noexcept;

/// The text of `id` in language `langId`, or in the other language when that
/// table lacks it; null when the module has no such string (or `module` is
/// null). The pointer stays valid while the module has a holder.
const char* ResourceModuleString(void* module, unsigned int id, unsigned short langId) noexcept;

} // namespace zel::internal
