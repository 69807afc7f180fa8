// The library's own message catalogue, compiled from the resource scripts in
// zeltools/resources/ when the library is built (cmake/ZelToolsCatalogue.cmake).
// On Windows the scripts become string resources of the module that holds the
// library, read the way the system's string loader reads them; elsewhere they
// become constant rows of this file. Either way no file is needed at run time
// and no code runs to set the table up.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/platform.h"

namespace zel::internal {
namespace {

#if defined(_WIN32)

// The catalogue's resources are an object of their own, which a static
// library would leave out of the program: naming their symbol here links
// them in wherever the catalogue is read.
extern "C" const char zel_catalogue_resources[];
[[gnu::used]] const void* const volatile linkCatalogueResources = zel_catalogue_resources;

#else

struct Row {
  unsigned short id;
  const char* english; // null when the English table lacks the id
  const char* russian; // null when the Russian table lacks the id
};

constexpr Row rows[] = {
#include "zeltools_catalogue_rows.inc"
};

constexpr bool StrictlyAscending() {
  for (std::size_t i = 1; i < std::size(rows); ++i)
    if (rows[i - 1].id >= rows[i].id)
      return false;
  return true;
}
// The look-up below is a binary search.
static_assert(StrictlyAscending(), "catalogue rows must be sorted by id without repeats");

bool Lookup(unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept {
  const Row* row = std::lower_bound(std::begin(rows), std::end(rows), id,
                                    [](const Row& r, unsigned int key) { return r.id < key; });
  if (row == std::end(rows) || row->id != id)
    return false;
  const char* found = langId == LanguageRussian ? row->russian : row->english;
  return found != nullptr && CopyBounded(found, text, size);
}

#endif

// The table of `langId` first, then the other one: a message missing from
// one table still reads.
template <class Read>
bool EitherLanguage(unsigned short langId, Read read) {
  const bool russian = langId == LanguageRussian;
  return read(russian ? LanguageRussian : LanguageEnglish) || read(russian ? LanguageEnglish : LanguageRussian);
}

} // namespace

bool CopyBounded(const char* from, char* text, std::size_t size) noexcept {
  const std::size_t length = std::min(std::strlen(from), size - 1);
  std::memcpy(text, from, length);
  text[length] = '\0';
  return true;
}

bool ModuleResourceString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept {
  if (text == nullptr || size == 0)
    return false;
  return EitherLanguage(langId, [&](unsigned short language) {
    return platform::Calls().resourceString(module, id, language, text, size) >= 0;
  });
}

bool LibraryString(unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept {
#if defined(_WIN32)
  return ModuleResourceString(platform::Calls().libraryModule(), id, langId, text, size);
#else
  if (text == nullptr || size == 0)
    return false;
  *text = '\0';
  return EitherLanguage(langId, [&](unsigned short language) { return Lookup(id, language, text, size); });
#endif
}

} // namespace zel::internal
