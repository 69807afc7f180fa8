#include "zeltools/text/font.h"

namespace zel {
namespace {

// Rounds a·b/c to nearest for positive operands.
long long MulDiv(long long a, long long b, long long c) { return (a * b + c / 2) / c; }

} // namespace

void FontSize(int pointSize, int& width, int& height) {
  if (pointSize < 1) {
    width = height = 0;
    return;
  }
  const long long points = pointSize > 10000 ? 10000 : pointSize;
  const long long em = MulDiv(points, 96, 72);
  height = static_cast<int>(em + MulDiv(em, 15, 100));
  width = static_cast<int>(MulDiv(em, 45, 100));
}

} // namespace zel
