// The library's own message catalogue. The rows are compiled from the
// resource scripts in zeltools/resources/ when the library is built (see
// cmake/ZelToolsCatalogue.cmake), so no file is needed at run time and the
// table is constant data: no code runs to set it up.
#include <algorithm>
#include <iterator>

#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/errors/language.h"

namespace zel::internal {
namespace {

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

} // namespace

const char* LibraryString(unsigned int id, unsigned short langId) noexcept {
  const Row* row = std::lower_bound(std::begin(rows), std::end(rows), id,
                                    [](const Row& r, unsigned int key) { return r.id < key; });
  if (row == std::end(rows) || row->id != id)
    return nullptr;
  const bool russian = langId == LanguageRussian;
  const char* wanted = russian ? row->russian : row->english;
  return wanted != nullptr ? wanted : (russian ? row->english : row->russian);
}

} // namespace zel::internal
