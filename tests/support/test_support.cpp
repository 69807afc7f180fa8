#include "support/test_support.h"

namespace zel::test {

std::string CatalogueText(unsigned int id) {
  std::string text;
  GetLibraryMessage(id, text);
  return text;
}

} // namespace zel::test
