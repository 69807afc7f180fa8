#pragma once
// The library's own message catalogue, compiled from the resource scripts in
// zeltools/resources/. Not part of the installed interface.

#include <cstddef>

namespace zel::internal {

/// The longest catalogue text a look-up gives, as a string-table entry read
/// into a 1024-byte buffer.
constexpr std::size_t CatalogueTextSize = 1024;

/// Copies the text of library message `id` in language `langId` into `text`;
/// when that table lacks the id, the other language's text, so that a message
/// missing from one table still reads. At most `size - 1` bytes are copied,
/// then a NUL. False, with `text` empty, when neither table has the id. The
/// texts are Windows-1251. Nothing is allocated, so that the out-of-memory
/// messages can be read when the heap is exhausted.
bool LibraryString(unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept;

/// String `id` of `module`, a handle of the system's loader on a system whose
/// modules keep string resources (Windows), read as `LibraryString` reads the
/// library's own: the table of `langId`, else the other one. False, with
/// `text` empty, when neither has it, and always where modules keep no
/// string resources.
bool ModuleResourceString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept;

/// Copies `from` into `text` (`size` ≥ 1): at most `size - 1` bytes, then a
/// NUL. Returns true, so that look-ups can end with it.
bool CopyBounded(const char* from, char* text, std::size_t size) noexcept;

} // namespace zel::internal
