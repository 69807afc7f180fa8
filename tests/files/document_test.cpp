#include "zeltools/files/document.h"

#include <cstring>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(Document, RecordsAreStoredAsTheirLittleEndianFieldsWithNothingBetween) {
  const DOCUMENT doc{0x0102030405060708ll, -2};
  const DOCUMENT_OLD old{0x11223344u, 5u};
  const unsigned char expected[24] = {8,    7,    6,    5,    4,    3,    2,    1,    0xFE, 0xFF, 0xFF, 0xFF,
                                      0xFF, 0xFF, 0xFF, 0xFF, 0x44, 0x33, 0x22, 0x11, 5,    0,    0,    0};
  unsigned char bytes[24];
  std::memcpy(bytes, &doc, 16);
  std::memcpy(bytes + 16, &old, 8);
  EXPECT_EQ(std::memcmp(bytes, expected, sizeof expected), 0);
}

} // namespace
} // namespace zel
