#include "zeltools/containers/type_codes.h"

#include <gtest/gtest.h>

namespace zel {
namespace {

// Code 0 takes the caller's size; codes beyond the table are 4 bytes wide.
TEST(TypeElementSize, CodeZeroIsTheCallersSizeAndUnknownCodesAreFourBytes) {
  EXPECT_EQ(TypeElementSize(0, 65535), 65535u);
  for (unsigned int code : {kLastTypeCode + 1, 100u, 255u, 256u, 65535u, 0xFFFFFFFFu})
    EXPECT_EQ(TypeElementSize(code, 9), 4u) << code;
  static_assert(TypeElementSize(0, 24) == 24 && TypeElementSize(99, 0) == 4);
}

} // namespace
} // namespace zel
