#include "zeltools/files/file_mark.h"

#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(FileMark, StoredImageIsLittleEndianAndRoundTrips) {
  FILE_MARK mark;
  mark.time = CTime(0x0102030405060708LL);
  mark.length = -2;
  mark.reserved[15] = 0xAB;
  unsigned char image[32];
  mark.Store(image);
  const unsigned char expected[16] = {8, 7, 6, 5, 4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_TRUE(std::equal(expected, expected + 16, image));
  EXPECT_EQ(image[31], 0xAB);
  std::mt19937 rng(3);
  for (int i = 0; i < 200; ++i) {
    for (auto &b : image)
      b = static_cast<unsigned char>(rng());
    unsigned char again[32];
    const FILE_MARK loaded = FILE_MARK::Load(image);
    loaded.Store(again);
    ASSERT_TRUE(std::equal(image, image + 32, again));
    FILE_MARK changed = loaded;
    changed.reserved[i % 16] ^= 1;
    ASSERT_FALSE(changed == loaded);
  }
}

} // namespace
} // namespace zel
