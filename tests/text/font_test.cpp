#include "zeltools/text/font.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include <gtest/gtest.h>

namespace zel {
namespace {

// Model: em = points·96/72, cell height em + 15 %, width 45 % of the em, each
// rounded to nearest; points below 1 give 0 × 0, above 10,000 count as 10,000.
void ExpectCell(int points) {
  const long em = points < 1 ? 0 : std::lround(std::min(points, 10000) * 96 / 72.0);
  int w = -1, h = -1;
  FontSize(points, w, h);
  ASSERT_EQ(w, std::lround(em * 45 / 100.0)) << points;
  ASSERT_EQ(h, em + std::lround(em * 15 / 100.0)) << points;
}

TEST(FontSize, CellFollowsTheEmOfA96DpiScreen) {
  for (int points = -3; points <= 10003; ++points)
    ExpectCell(points);
  ExpectCell(INT_MAX);
  ExpectCell(INT_MIN);
  int w = 0, h = 0;
  FontSize(10, w, h);
  EXPECT_TRUE(w == 6 && h == 15);
}

} // namespace
} // namespace zel
