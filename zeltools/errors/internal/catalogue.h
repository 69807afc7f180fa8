#pragma once
// The library's own message catalogue, compiled from the resource scripts in
// zeltools/resources/. Not part of the installed interface.

namespace zel::internal {

/// The text of library message `id` in language `langId`; when that table
/// lacks the id, the other language's text, so that a message missing from
/// one table still reads. Null when neither table has it. The texts are Windows-1251.
const char* LibraryString(unsigned int id, unsigned short langId) noexcept;

} // namespace zel::internal
