#include "zeltools/errors/language.h"

#include <cstring>
#include <initializer_list>

#include "zeltools/platform/platform.h"

namespace zel {
namespace {

unsigned short LanguageFromEnvironment() noexcept {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = platform::Calls().environment(name);
    if (value != nullptr && *value != '\0')
      return (std::strncmp(value, "ru", 2) == 0) ? LanguageRussian : LanguageEnglish;
  }
  return LanguageEnglish;
}

// 0 means "not chosen yet": the environment is read on first use per thread.
thread_local unsigned short threadLanguage = 0;

} // namespace

unsigned short SetThreadUILanguage(unsigned short langId) noexcept {
  threadLanguage = langId;
  return langId;
}

unsigned short GetThreadUILanguage() noexcept {
  if (threadLanguage == 0)
    threadLanguage = LanguageFromEnvironment();
  return threadLanguage;
}

} // namespace zel
