// The library's own catalogue: every id in both languages, the compiled
// table equal to the resource scripts it is built from.
#include "zeltools/errors/internal/catalogue.h"

#include <string>

#include <gtest/gtest.h>

#include "zeltools/rcscript/internal/rc_script.h"
#include "zeltools/errors/language.h"

namespace zel {
namespace {

// The text of `id`, or null when the catalogue has none.
const char* Text(unsigned int id, unsigned short langId) {
  static char text[internal::CatalogueTextSize];
  return internal::LibraryString(id, langId, text, sizeof text) ? text : nullptr;
}

TEST(Catalogue, EveryIdHasATextInBothLanguagesOrInNeither) {
  unsigned int ids = 0;
  for (unsigned int id = 0; id <= 70000; ++id) {
    const bool english = Text(id, LanguageEnglish) != nullptr;
    const char* russian = Text(id, LanguageRussian);
    ASSERT_EQ(english, russian != nullptr) << id;
    if (russian == nullptr)
      continue;
    ++ids;
    // Russian texts are single-byte Windows-1251: no UTF-8 Cyrillic pair.
    const std::string text = russian;
    for (std::size_t k = 1; k < text.size(); ++k)
      ASSERT_FALSE((text[k - 1] == '\xD0' || text[k - 1] == '\xD1') && (text[k] & 0xC0) == 0x80) << id;
  }
  EXPECT_EQ(ids, 92u);
  EXPECT_EQ(Text(0xFFFFFFFFu, LanguageEnglish), nullptr);
}

TEST(Catalogue, CompiledTableMatchesTheResourceScripts) {
  // The table is compiled at build time; this catches a stale build and any
  // difference between the compiler's reading and the run-time reader's.
  const std::string folder = std::string(ZEL_TEST_SOURCE_DIR) + "/../zeltools/resources/";
  internal::ScriptTables scripts = internal::ReadResourceScript(folder + "zeltools_en.rc");
  scripts.Merge(internal::ReadResourceScript(folder + "zeltools_ru.rc"), "zeltools_ru.rc");
  ASSERT_EQ(scripts.english.size(), 92u);
  ASSERT_EQ(scripts.russian.size(), 92u);
  for (const auto& [id, text] : scripts.english)
    EXPECT_EQ(Text(id, LanguageEnglish), text) << id;
  for (const auto& [id, text] : scripts.russian)
    EXPECT_EQ(Text(id, LanguageRussian), text) << id;
}

} // namespace
} // namespace zel
