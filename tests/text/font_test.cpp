#include "zeltools/text/font.h"

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(FontSize, EstimatesTheCellFromThePointSize) {
  int w = -1, h = -1;
  FontSize(10, w, h);
  EXPECT_EQ(w, 6);
  EXPECT_EQ(h, 15);
  FontSize(72, w, h); // one inch: em 96 pixels
  EXPECT_EQ(w, 43);
  EXPECT_EQ(h, 110);
  FontSize(0, w, h);
  EXPECT_EQ(w, 0);
  EXPECT_EQ(h, 0);
  FontSize(-5, w, h);
  EXPECT_EQ(h, 0);
  int wMax = 0, hMax = 0;
  FontSize(2147483647, wMax, hMax);
  FontSize(10000, w, h);
  EXPECT_EQ(wMax, w);
  EXPECT_EQ(hMax, h);
}

TEST(FontSize, GrowsWithThePointSize) {
  int lastW = 0, lastH = 0;
  for (int points = 1; points <= 200; ++points) {
    int w = 0, h = 0;
    FontSize(points, w, h);
    ASSERT_GE(w, lastW);
    ASSERT_GT(h, lastH);
    ASSERT_LT(w, h);
    lastW = w;
    lastH = h;
  }
}

} // namespace
} // namespace zel
