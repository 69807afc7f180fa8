#pragma once
// The position rule of the Erase operations of Vector and VBase.

#include <utility>

namespace zel::internal {

enum class EraseAction { None, Clear, Range };

/// Normalises the 1-based bounds (i, j) of an Erase against `count`: (0, 0)
/// clears everything; a `j` of 0 means the single position `i`; bounds in
/// either order; a first bound of 0 counts as 1; a first bound above the
/// count does nothing; the last is clamped to the count. For `Range`,
/// positions i..j inclusive are to be removed.
inline EraseAction ErasePositions(unsigned int& i, unsigned int& j, unsigned int count) noexcept {
  if (j == 0) {
    if (i == 0)
      return EraseAction::Clear;
    j = i;
  }
  if (j < i)
    std::swap(i, j);
  if (i == 0)
    i = 1;
  if (i > count)
    return EraseAction::None;
  if (j > count)
    j = count;
  return EraseAction::Range;
}

} // namespace zel::internal
