#include "zeltools/rcscript/encoding.h"

#include <string>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(Encoding, EveryWindows1251ByteRoundTripsThroughUtf8) {
  std::string all;
  for (int b = 1; b < 256; ++b)
    all += static_cast<char>(b);
  EXPECT_EQ(Utf8ToCp1251(Cp1251ToUtf8(all)), all);
}

TEST(Encoding, KnownLetters) {
  EXPECT_EQ(Cp1251ToUtf8("\xC0\xFF\xA8\xB8"), "АяЁё");
  EXPECT_EQ(Utf8ToCp1251("Файл №1"), "\xD4\xE0\xE9\xEB \xB9" "1");
  EXPECT_EQ(Utf8ToCp1251("\xE2\x82\xAC"), "\x88"); // euro sign
}

TEST(Encoding, UnrepresentableAndMalformedBecomeTheReplacement) {
  EXPECT_EQ(Utf8ToCp1251("a\xE4\xB8\xADz"), "a?z");     // a CJK ideograph
  EXPECT_EQ(Utf8ToCp1251("a\xC3z", '#'), "a#z");          // truncated sequence
  EXPECT_EQ(Utf8ToCp1251("\xFF\xD0"), "??");               // invalid lead, lone lead at end
}

} // namespace
} // namespace zel
