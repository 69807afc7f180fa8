#include "zeltools/text/bits.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

using Bytes = std::vector<unsigned char>;

// Random edits against a vector<bool>, then every decoder against the model's
// set positions. Sets up to 320 bits reach the 255 limit of the byte form and
// the wrap of SumBit.
TEST(Bits, EditsAndDecodersAgreeWithAVectorOfBool) {
  std::mt19937 rng(5);
  for (int round = 0; round < 400; ++round) {
    const unsigned int n = static_cast<unsigned int>(rng() % 41), nBits = 8 * n;
    Bytes bits(n, 0);
    std::vector<bool> model(nBits);
    for (unsigned int step = 0; nBits > 0 && step < 2 * nBits; ++step) {
      const unsigned int k = static_cast<unsigned int>(rng() % nBits);
      model[k] = rng() % 3 != 0;
      model[k] ? BitOn(bits.data(), k) : BitOff(bits.data(), k);
    }
    std::vector<unsigned int> positions;
    for (unsigned int k = 0; k < nBits; ++k) {
      ASSERT_EQ((bits[k / 8] >> (k % 8)) & 1, model[k] ? 1 : 0) << "least significant bit first";
      ASSERT_EQ(BitRead(bits.data(), k), model[k] ? 1 : 0);
      if (model[k])
        positions.push_back(k);
    }
    const int count = static_cast<int>(positions.size());
    std::vector<unsigned int> wide(positions.size() + 1);
    ASSERT_EQ(DecodeNumBit(bits.data(), n, wide.data(), 1), count);
    unsigned char small[320], index[320], rank[320];
    // The byte form stops before bit 255.
    const auto smallCount = std::lower_bound(positions.begin(), positions.end(), 255u) - positions.begin();
    ASSERT_EQ(DecodeNumBit(bits.data(), n, small), smallCount);
    ASSERT_EQ(SumBit(bits.data(), n, index, rank), count);
    for (int k = 0; k < count; ++k) {
      ASSERT_EQ(wide[k], positions[k] + 1);
      ASSERT_EQ(index[k], positions[k] % 256);
      ASSERT_EQ(rank[positions[k]], (k + 1) % 256);
      if (k < smallCount)
        ASSERT_EQ(small[k], positions[k]);
    }
    // DecodeStrBit writes '1' or a zero byte; with '0' for the zero bytes
    // ConvStrBit reads the same set back.
    std::string text(nBits + 1, 'X');
    DecodeStrBit(bits.data(), n, text.data());
    ASSERT_EQ(text.back(), 'X');
    text.pop_back();
    for (unsigned int k = 0; k < nBits; ++k) {
      ASSERT_EQ(text[k], model[k] ? '1' : '\0');
      text[k] = model[k] ? '1' : '0';
    }
    Bytes back(n, 0x5A);
    ASSERT_EQ(ConvStrBit(text.c_str(), back.data()), 1);
    ASSERT_EQ(back, bits);
  }
}

TEST(ConvStrBit, ClearsToTheByteBoundaryAndStopsAtAnotherCharacter) {
  Bytes bits{0xFF, 0xFF};
  EXPECT_EQ(ConvStrBit("000000001", bits.data()), 1);
  EXPECT_EQ(bits, (Bytes{0x00, 0x01}));
  bits = {0xF0, 0xFF};
  EXPECT_EQ(ConvStrBit("11x0", bits.data()), 0); // bits before 'x' stored, nothing cleared
  EXPECT_EQ(bits, (Bytes{0xF3, 0xFF}));
  EXPECT_EQ(ConvStrBit("", bits.data()) + ConvStrBit(nullptr, bits.data()), 2);
  EXPECT_EQ(bits, (Bytes{0xF3, 0xFF}));
}

} // namespace
} // namespace zel
