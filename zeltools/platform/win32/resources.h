#pragma once
// The Windows entries of the system table for the thread's language and the
// string resources of modules. Only the table's own file includes this header.

#include <cstddef>

namespace zel::platform::win32 {

unsigned short ThreadUILanguage() noexcept;
unsigned short SetThreadUILanguage(unsigned short langId) noexcept;
void* ResourceModuleOpen(const char* name) noexcept;
bool ResourceModuleClose(void* module) noexcept;
void* LibraryModule() noexcept;
long ResourceString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept;

} // namespace zel::platform::win32
