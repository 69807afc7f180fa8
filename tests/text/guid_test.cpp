#include "zeltools/text/guid.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace zel {
namespace {

const GUID sample = {0x0A1B2C3Du, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};

TEST(Guid, TextFormIsBracedUpperCase8_4_4_4_12) {
  EXPECT_EQ(GuidToString(sample), "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}");
  EXPECT_EQ(GuidToString(GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, ReadsEitherCaseAndRejectsAnyOtherShape) {
  GUID g{};
  ASSERT_EQ(StringToGuid("{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}", g), 1);
  EXPECT_EQ(g, sample);
  const GUID before = g;
  for (const char* bad : {"", "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
                          "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9} ", " {0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}",
                          "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8FG}", "{0A1B2C3D+4E5F-6071-8293-A4B5C6D7E8F9}",
                          "{0A1B2C3D4-E5F-6071-8293-A4B5C6D7E8F9}", "(0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9)"}) {
    EXPECT_EQ(StringToGuid(bad, g), 0) << bad;
    EXPECT_EQ(g, before);
  }
  EXPECT_EQ(StringToGuid(nullptr, g), 0);
}

TEST(Guid, RandomIdentifiersRoundTrip) {
  std::mt19937 rng(41);
  std::uniform_int_distribution<unsigned int> byte(0, 255);
  for (int round = 0; round < 2000; ++round) {
    GUID g{};
    g.Data1 = static_cast<std::uint32_t>(rng());
    g.Data2 = static_cast<std::uint16_t>(rng());
    g.Data3 = static_cast<std::uint16_t>(rng());
    for (auto& b : g.Data4)
      b = static_cast<std::uint8_t>(byte(rng));
    const std::string text = GuidToString(g);
    ASSERT_EQ(text.size(), 38u);
    GUID back{};
    ASSERT_EQ(StringToGuid(text.c_str(), back), 1) << text;
    ASSERT_EQ(back, g) << text;
    // Any single character changed to a non-hexadecimal one is refused.
    std::string broken = text;
    broken[1 + byte(rng) % 36] = 'x';
    ASSERT_EQ(StringToGuid(broken.c_str(), back), 0) << broken;
  }
}

} // namespace
} // namespace zel
