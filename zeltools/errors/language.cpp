#include "zeltools/errors/language.h"

#include "zeltools/platform/platform.h"

namespace zel {

unsigned short SetThreadUILanguage(unsigned short langId) noexcept {
  return platform::Calls().setThreadUILanguage(langId);
}

unsigned short GetThreadUILanguage() noexcept { return platform::Calls().threadUILanguage(); }

} // namespace zel
