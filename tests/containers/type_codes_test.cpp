#include "zeltools/containers/type_codes.h"

#include <gtest/gtest.h>

#include <map>

namespace zel {
namespace {

// The element lengths by code, spelled out group by group as the stored
// columns use them.
std::map<unsigned int, unsigned int> ExpectedLengths() {
  std::map<unsigned int, unsigned int> m;
  const auto set = [&m](std::initializer_list<unsigned int> codes, unsigned int length) {
    for (unsigned int c : codes) m[c] = length;
  };
  set({1, 2, 3}, 1);
  set({4, 5, 21}, 2);
  set({22}, 3);
  set({6, 7, 10, 12, 13, 14, 15, 16, 17, 18, 19, 20, 35, 36, 37, 38, 39, 40}, 4);
  set({23, 31}, 5);
  set({25}, 6);
  set({8, 9, 11, 26, 28, 32, 33}, 8);
  set({24, 41}, 9);
  set({27, 29, 34, 42, 43}, 12);
  set({30, 44}, 16);
  return m;
}

TEST(TypeElementSize, EveryCodeFromOneToFortyFourHasItsFixedLength) {
  const auto expected = ExpectedLengths();
  ASSERT_EQ(expected.size(), 44u) << "every code 1..44 listed exactly once";
  for (const auto& [code, length] : expected) {
    EXPECT_EQ(TypeElementSize(code, 0), length) << "code " << code;
    EXPECT_EQ(TypeElementSize(code, 77), length) << "size ignored for code " << code;
  }
}

TEST(TypeElementSize, CodeZeroTakesTheCallersSize) {
  EXPECT_EQ(TypeElementSize(0, 0), 0u);
  EXPECT_EQ(TypeElementSize(0, 1), 1u);
  EXPECT_EQ(TypeElementSize(0, 300), 300u);
  EXPECT_EQ(TypeElementSize(0, 65535), 65535u);
}

TEST(TypeElementSize, CodesAboveFortyFourAreFourBytes) {
  for (unsigned int code : {45u, 46u, 100u, 240u, 241u, 255u, 256u, 65535u, 0xFFFFFFFFu}) {
    EXPECT_EQ(TypeElementSize(code, 9), 4u) << "code " << code;
  }
}

TEST(TypeElementSize, IsUsableAtCompileTime) {
  static_assert(TypeElementSize(11, 0) == 8);
  static_assert(TypeElementSize(0, 24) == 24);
  static_assert(TypeElementSize(99, 0) == 4);
}

} // namespace
} // namespace zel
