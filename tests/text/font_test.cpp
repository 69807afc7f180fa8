#include "zeltools/text/font.h"

#include <climits>

#include <gtest/gtest.h>

namespace zel {
namespace {

// Worked sizes (em 13, 17, 96 and 13,333 pixels), the clamps, and a cell
// that never shrinks as the point size grows.
TEST(FontSize, CellFollowsTheEmOfA96DpiScreen) {
  const struct { int points, width, height; } cases[] = {
      {10, 6, 15}, {13, 8, 20}, {72, 43, 110}, {10000, 6000, 15333}, {INT_MAX, 6000, 15333}, {0, 0, 0}, {INT_MIN, 0, 0}};
  int w = -1, h = -1;
  for (const auto& c : cases) {
    FontSize(c.points, w, h);
    EXPECT_TRUE(w == c.width && h == c.height) << c.points << ": " << w << " x " << h;
  }
  for (int points = 1, lastW = 0, lastH = 0; points <= 10001; ++points, lastW = w, lastH = h) {
    FontSize(points, w, h);
    ASSERT_TRUE(w >= lastW && h > lastH - (points == 10001) && h > w) << points;
  }
}

} // namespace
} // namespace zel
