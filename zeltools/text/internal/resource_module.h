#pragma once
// Resource modules behind `CResurce`'s module handle. Not part of the
// installed interface.
//
// A module handle is the address of a module record kept in a process-wide
// registry; the record holds the module's string tables and counts its
// holders, so that objects sharing a handle free it once, when the last of
// them lets go. The registry outlives every holder: it is never destroyed,
// so an object released during static destruction still finds it.

#include <cstddef>
#include <string>

namespace zel::internal {

/// Loads the module named `fileName` with one holder:
/// - the name "ZelTools.dll" (any folder, any case): the library's own
///   catalogue;
/// - a module (an ELF or Windows image file, or a name without a folder that
///   the system's library path finds): the string tables compiled into it by
///   `zel_add_string_tables`, or none when it has none. On Windows these are
///   its string resources, and the module is mapped as a data file, so that
///   none of its code runs;
/// - any other readable file: a resource script.
/// Null when the file is not found or cannot be loaded. A malformed script or
/// damaged compiled tables throw `Exception` (code 2).
void* LoadResourceModule(const std::string& fileName);

/// Adds a holder to `module`. A handle from this registry is shared; any
/// other non-null pointer is taken as a handle of the system's loader (from
/// dlopen, or a Windows module handle), which the registry then owns and closes when its last holder lets
/// go; the same loader handle given twice maps to one module. Null gives null.
void* AcquireResourceModule(void* module);

/// Removes a holder; the last one frees the module. Null is ignored.
void ReleaseResourceModule(void* module) noexcept;

/// Copies the text of `id` in language `langId`, or in the other language
/// when that table lacks it, into `text`: at most `size - 1` bytes, then a
/// NUL. False, with `text` empty, when the module has no such string (or
/// `module` is null).
bool ResourceModuleString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept;

} // namespace zel::internal
