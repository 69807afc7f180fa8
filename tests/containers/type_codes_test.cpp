#include "zeltools/containers/type_codes.h"

#include <gtest/gtest.h>

#include <iterator>

namespace zel {
namespace {

// The stored column widths by type code, written out independently of the
// library's table; code 0 takes the caller's size.
TEST(TypeElementSize, EveryCodeHasItsStoredWidth) {
  const unsigned int widths[] = {77, 1, 1, 1, 2, 2, 4,  4, 8,  8,  4, 8, 4,  4,  4, 4, 4, 4, 4,  4,  4,  2, 3,
                                 5,  9, 6, 8, 12, 8, 12, 16, 5, 8, 8, 12, 4, 4, 4, 4, 4, 4, 9, 12, 12, 16};
  static_assert(std::size(widths) == kLastTypeCode + 1);
  for (unsigned int code = 0; code <= kLastTypeCode; ++code) EXPECT_EQ(TypeElementSize(code, 77), widths[code]) << code;
  EXPECT_EQ(TypeElementSize(0, 65535), 65535u);
  for (unsigned int code : {45u, 100u, 255u, 256u, 65535u, 0xFFFFFFFFu}) EXPECT_EQ(TypeElementSize(code, 9), 4u) << code;
  static_assert(TypeElementSize(11, 0) == 8 && TypeElementSize(0, 24) == 24 && TypeElementSize(99, 0) == 4);
}

} // namespace
} // namespace zel
