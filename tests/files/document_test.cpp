#include "zeltools/files/document.h"

#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(Document, RecordsAreStoredAsTheirLittleEndianFieldsWithNothingBetween) {
  static_assert(offsetof(DOCUMENT, length) == 8, "no padding");
  static_assert(offsetof(DOCUMENT_OLD, length) == 4, "no padding");
  DOCUMENT doc;
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  doc.position = 0x0102030405060708ll;
  doc.length = -2;
  unsigned char bytes[16];
  std::memcpy(bytes, &doc, sizeof bytes);
  const unsigned char expected[16] = {8, 7, 6, 5, 4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(std::memcmp(bytes, expected, 16), 0);
  const DOCUMENT_OLD old{0x11223344u, 5u};
  unsigned char oldBytes[8];
  std::memcpy(oldBytes, &old, sizeof oldBytes);
  const unsigned char oldExpected[8] = {0x44, 0x33, 0x22, 0x11, 5, 0, 0, 0};
  EXPECT_EQ(std::memcmp(oldBytes, oldExpected, 8), 0);
}

} // namespace
} // namespace zel
