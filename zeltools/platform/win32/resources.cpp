// The thread's language and string resources on Windows.
//
// A string table is kept as resources of type RT_STRING: string `id` lives in
// block `id / 16 + 1`, one block per language, and a block holds 16 counted
// strings in turn, each a 16-bit count of UTF-16 units and those units (no
// terminator; a count of 0 is a missing string). A module from outside may
// hold a damaged block, so every count is checked against the block's size.
#include "zeltools/platform/system_entries.h"

#include <algorithm>
#include <string>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/win32/system.h"

namespace zel::platform::entries {

using win32::LibraryCodePage;
using win32::Record;
using win32::Wide;

namespace {

constexpr unsigned int StringsPerBlock = 16;
constexpr WORD StringType = 6; // RT_STRING

// The language set through the library on this thread, 0 when none: some
// systems accept SetThreadUILanguage and keep nothing, and the catalogue
// must follow the setting all the same.
thread_local unsigned short chosenLanguage = 0;

// Keeps the thread's last error across calls that may change it.
class KeepLastError {
public:
  KeepLastError() noexcept : saved_(::GetLastError()) {}
  ~KeepLastError() { ::SetLastError(saved_); }
  KeepLastError(const KeepLastError&) = delete;
  KeepLastError& operator=(const KeepLastError&) = delete;

private:
  DWORD saved_;
};

long Missing(unsigned int code) noexcept {
  zel::SetLastError(code);
  return -1;
}

// The resource language of `block` that serves table `langId`: the id itself
// when the block has it, else the first of the same primary language (any
// English also takes the neutral tables, as scripts without a LANGUAGE
// statement are English). 0xFFFF when there is none.
struct LanguageSearch {
  WORD primary;
  LANGID found;
};

BOOL CALLBACK MatchLanguage(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR context) {
  auto* search = reinterpret_cast<LanguageSearch*>(context);
  const WORD primary = PRIMARYLANGID(language);
  if (primary == search->primary || (search->primary == LANG_ENGLISH && primary == LANG_NEUTRAL)) {
    search->found = language;
    return FALSE;
  }
  return TRUE;
}

HRSRC FindBlock(HMODULE module, WORD block, unsigned short langId) noexcept {
  if (HRSRC exact = ::FindResourceExW(module, MAKEINTRESOURCEW(StringType), MAKEINTRESOURCEW(block), langId))
    return exact;
  LanguageSearch search{PRIMARYLANGID(langId), 0xFFFF};
  ::EnumResourceLanguagesW(module, MAKEINTRESOURCEW(StringType), MAKEINTRESOURCEW(block), MatchLanguage,
                           reinterpret_cast<LONG_PTR>(&search));
  if (search.found == 0xFFFF)
    return nullptr;
  return ::FindResourceExW(module, MAKEINTRESOURCEW(StringType), MAKEINTRESOURCEW(block), search.found);
}

} // namespace

unsigned short ThreadUILanguage() noexcept {
  if (chosenLanguage != 0)
    return chosenLanguage;
  const KeepLastError keep;
  return ::GetThreadUILanguage();
}

unsigned short SetThreadUILanguage(unsigned short langId) noexcept {
  const KeepLastError keep;
  ::SetThreadUILanguage(langId);
  chosenLanguage = langId;
  return langId;
}

void* ResourceModuleOpen(const char* name) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return nullptr;
  // The loader takes only '\' between folders.
  std::replace(wide.begin(), wide.end(), L'/', L'\\');
  HMODULE module = ::LoadLibraryExW(wide.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  Record(module != nullptr);
  return module;
}

bool ResourceModuleClose(void* module) noexcept {
  const bool ok = module != nullptr && ::FreeLibrary(static_cast<HMODULE>(module)) != 0;
  Record(ok);
  return ok;
}

void* LibraryModule() noexcept {
  // Any address inside the library's image names its module.
  static const char inside = 0;
  HMODULE module = nullptr;
  const bool ok = ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                       reinterpret_cast<LPCWSTR>(&inside), &module) != 0;
  Record(ok);
  return module;
}

long ResourceString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept {
  if (text == nullptr || size == 0)
    return Missing(ERROR_INVALID_PARAMETER);
  *text = '\0';
  if (module == nullptr || id > 0xFFFF)
    return Missing(ERROR_RESOURCE_NAME_NOT_FOUND);
  const auto hmodule = static_cast<HMODULE>(module);
  HRSRC found = FindBlock(hmodule, static_cast<WORD>(id / StringsPerBlock + 1), langId);
  HGLOBAL loaded = found != nullptr ? ::LoadResource(hmodule, found) : nullptr;
  const auto* unit = loaded != nullptr ? static_cast<const WCHAR*>(::LockResource(loaded)) : nullptr;
  if (unit == nullptr)
    return Missing(ERROR_RESOURCE_LANG_NOT_FOUND);
  const WCHAR* const end = unit + ::SizeofResource(hmodule, found) / sizeof(WCHAR);
  for (unsigned int k = id % StringsPerBlock; k > 0 && unit < end; --k)
    unit += 1 + std::min<std::size_t>(*unit, static_cast<std::size_t>(end - unit - 1));
  if (unit >= end || *unit == 0)
    return Missing(ERROR_RESOURCE_NAME_NOT_FOUND);
  // Cut to what the block holds and to the caller's room: one byte a unit.
  const std::size_t units = std::min({static_cast<std::size_t>(*unit), static_cast<std::size_t>(end - unit - 1), size - 1});
  const int bytes = units == 0 ? 0
                               : ::WideCharToMultiByte(LibraryCodePage, WC_NO_BEST_FIT_CHARS, unit + 1, static_cast<int>(units),
                                                       text, static_cast<int>(units), nullptr, nullptr);
  text[bytes > 0 ? bytes : 0] = '\0';
  zel::SetLastError(0);
  return bytes > 0 ? bytes : 0;
}

} // namespace zel::platform::entries
