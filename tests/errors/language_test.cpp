#include "zeltools/errors/language.h"

#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include "zeltools/platform/platform.h"

namespace zel {
namespace {

#ifndef _WIN32
// A thread's first language comes from the locale environment, read through
// the system table: LC_ALL, then LC_MESSAGES, then LANG, the first one set.
TEST(ThreadLanguage, StartsFromTheFirstLocaleVariableSet) {
  const auto firstLanguage = [] {
    unsigned short language = 0;
    std::thread([&] { language = GetThreadUILanguage(); }).join();
    return language;
  };
  platform::ScopedCalls saved;
  platform::Calls().environment = [](const char* name) -> const char* {
    return std::strcmp(name, "LC_MESSAGES") == 0 ? "ru_RU.CP1251" : std::strcmp(name, "LANG") == 0 ? "en_US" : nullptr;
  };
  EXPECT_EQ(firstLanguage(), LanguageRussian);
  platform::Calls().environment = [](const char* name) -> const char* {
    return std::strcmp(name, "LC_ALL") == 0 ? "C" : std::strcmp(name, "LANG") == 0 ? "ru_RU" : nullptr;
  };
  EXPECT_EQ(firstLanguage(), LanguageEnglish);
}
#endif

} // namespace
} // namespace zel
