#include "zeltools/files/file_mark.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(FileMark, StoredImageIsLittleEndianAndLoadsBack) {
  FILE_MARK mark;
  mark.time = CTime(0x0102030405060708LL);
  mark.length = -2;
  mark.reserved[15] = 0xAB;
  unsigned char image[32], again[32];
  mark.Store(image);
  const unsigned char expected[16] = {8, 7, 6, 5, 4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_TRUE(std::equal(expected, expected + 16, image));
  EXPECT_EQ(image[31], 0xAB);
  FILE_MARK::Load(image).Store(again);
  EXPECT_TRUE(std::equal(image, image + 32, again));
  EXPECT_TRUE(FILE_MARK::Load(image) == mark);
  for (const std::size_t byte : {0u, 9u, 16u, 31u}) { // all 32 bytes take part in a comparison
    image[byte] ^= 0x40;
    EXPECT_FALSE(FILE_MARK::Load(image) == mark) << byte;
    image[byte] ^= 0x40;
  }
}

} // namespace
} // namespace zel
