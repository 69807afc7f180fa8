#include "zeltools/text/guid.h"

#include <algorithm>
#include <cctype>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(Guid, TextFormIsBracedUpperCase8_4_4_4_12) {
  const GUID g = {0x0A1B2C3Du, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};
  EXPECT_EQ(GuidToString(g), "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}");
  EXPECT_EQ(GuidToString(GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, RandomIdentifiersRoundTripInEitherCaseAndOtherShapesAreRefused) {
  std::mt19937 rng(41);
  for (int round = 0; round < 2000; ++round) {
    GUID g{static_cast<std::uint32_t>(rng()), static_cast<std::uint16_t>(rng()), static_cast<std::uint16_t>(rng()), {}};
    for (auto& b : g.Data4)
      b = static_cast<std::uint8_t>(rng());
    std::string text = GuidToString(g);
    ASSERT_EQ(text.size(), 38u);
    if (round % 2)
      std::transform(text.begin(), text.end(), text.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
    GUID back{};
    ASSERT_EQ(StringToGuid(text.c_str(), back), 1) << text;
    ASSERT_EQ(back, g) << text;
    std::string broken = text;
    broken[1 + rng() % 36] = "xG+ "[rng() % 4];
    const std::string shiftedDash = text.substr(0, 9) + text[10] + '-' + text.substr(11);
    for (const std::string& bad : {text.substr(1), text.substr(0, 37), text + " ", " " + text,
                                   "(" + text.substr(1, 36) + ")", shiftedDash, broken}) {
      ASSERT_EQ(StringToGuid(bad.c_str(), back), 0) << bad;
      ASSERT_EQ(back, g) << "unchanged on failure";
    }
  }
  GUID g{};
  EXPECT_EQ(StringToGuid(nullptr, g) + StringToGuid("", g), 0);
}

} // namespace
} // namespace zel
