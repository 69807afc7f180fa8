// The thread's language from the locale environment, and no string resources
// in modules: an ELF shared object carries its string tables as exported data
// instead (see the resource-module reader in text/).
#include "zeltools/platform/system_entries.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel::platform::entries {
namespace {

// The system's ids of the two languages the library knows (the catalogue's
// own names for them sit a layer above).
constexpr unsigned short English = 1033;
constexpr unsigned short Russian = 1049;

unsigned short LanguageFromEnvironment() noexcept {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = Calls().environment(name);
    if (value != nullptr && *value != '\0')
      return (std::strncmp(value, "ru", 2) == 0) ? Russian : English;
  }
  return English;
}

// 0 means "not chosen yet": the environment is read on first use per thread.
thread_local unsigned short threadLanguage = 0;

template <typename Result>
Result Unsupported(Result result) noexcept {
  SetLastError(ENOSYS);
  return result;
}

} // namespace

unsigned short ThreadUILanguage() noexcept {
  if (threadLanguage == 0)
    threadLanguage = LanguageFromEnvironment();
  return threadLanguage;
}

unsigned short SetThreadUILanguage(unsigned short langId) noexcept {
  threadLanguage = langId;
  return langId;
}

void* ResourceModuleOpen(const char*) noexcept { return Unsupported<void*>(nullptr); }
bool ResourceModuleClose(void*) noexcept { return Unsupported(false); }
void* LibraryModule() noexcept { return Unsupported<void*>(nullptr); }

long ResourceString(void*, unsigned int, unsigned short, char* text, std::size_t size) noexcept {
  if (text != nullptr && size != 0)
    *text = '\0';
  return Unsupported(-1L);
}

} // namespace zel::platform::entries
