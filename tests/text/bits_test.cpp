#include "zeltools/text/bits.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(Bits, RandomEditsAgreeWithAVectorOfBool) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<unsigned int> position(0, 8 * 9 - 1), op(0, 2);
  Bytes bits(9);
  std::vector<bool> model(8 * 9);
  for (int step = 0; step < 20000; ++step) {
    const unsigned int k = position(rng);
    switch (op(rng)) {
    case 0: BitOn(bits.data(), k); model[k] = true; break;
    case 1: BitOff(bits.data(), k); model[k] = false; break;
    default: ASSERT_EQ(BitRead(bits.data(), k), model[k] ? 1 : 0);
    }
  }
  for (unsigned int k = 0; k < model.size(); ++k)
    ASSERT_EQ((bits[k / 8] >> (k % 8)) & 1, model[k] ? 1 : 0) << "least significant bit first";
}

TEST(ConvStrBit, ReadsCharactersAndClearsToTheByteBoundary) {
  Bytes bits{0xFF, 0xFF};
  EXPECT_EQ(ConvStrBit("101", bits.data()), 1);
  EXPECT_EQ(bits, (Bytes{0x05, 0xFF}));
  bits = {0x00, 0xFF};
  EXPECT_EQ(ConvStrBit("000000001", bits.data()), 1);
  EXPECT_EQ(bits, (Bytes{0x00, 0x01}));
  bits = {0xF0, 0xFF};
  EXPECT_EQ(ConvStrBit("11x0", bits.data()), 0); // stops at 'x', no clearing
  EXPECT_EQ(bits, (Bytes{0xF3, 0xFF}));
  bits = {0xAA};
  EXPECT_EQ(ConvStrBit("", bits.data()), 1);
  EXPECT_EQ(ConvStrBit(nullptr, bits.data()), 1);
  EXPECT_EQ(bits, (Bytes{0xAA}));
  EXPECT_EQ(ConvStrBit("01010101", bits.data()), 1);
  EXPECT_EQ(bits, (Bytes{0xAA}));
}

TEST(DecodeStrBit, UnsetBitsAreZeroBytes) {
  const Bytes bits{0x05};
  char text[9] = "XXXXXXXX";
  DecodeStrBit(bits.data(), 1, text);
  EXPECT_EQ(std::string(text, 8), std::string("1\0" "1\0\0\0\0\0", 8));
  EXPECT_EQ(text[8], '\0');
}

TEST(DecodeNumBit, ByteIndexesStopBefore255) {
  Bytes bits(40, 0);
  for (unsigned int k : {0u, 9u, 254u, 255u, 256u, 300u})
    BitOn(bits.data(), k);
  unsigned char out[8] = {};
  EXPECT_EQ(DecodeNumBit(bits.data(), 40, out), 3);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[1], 9);
  EXPECT_EQ(out[2], 254);
  EXPECT_EQ(DecodeNumBit(bits.data(), 40, static_cast<unsigned char*>(nullptr)), 3);
  EXPECT_EQ(DecodeNumBit(bits.data(), 1, out), 1);
  unsigned int wide[8] = {};
  EXPECT_EQ(DecodeNumBit(bits.data(), 40, wide, 1), 6);
  EXPECT_EQ(std::vector<unsigned int>(wide, wide + 6), (std::vector<unsigned int>{1, 10, 255, 256, 257, 301}));
  EXPECT_EQ(DecodeNumBit(bits.data(), 40, static_cast<unsigned int*>(nullptr), 0), 6);
}

TEST(BitsProperty, DecodersAgreeWithEachOther) {
  std::mt19937 rng(9);
  std::uniform_int_distribution<unsigned int> byte(0, 255), count(0, 32);
  for (int round = 0; round < 500; ++round) {
    Bytes bits(count(rng));
    for (auto& b : bits)
      b = static_cast<unsigned char>(byte(rng) & byte(rng)); // sparser sets too
    const unsigned int n = static_cast<unsigned int>(bits.size());
    std::vector<unsigned int> positions;
    for (unsigned int k = 0; k < 8 * n; ++k)
      if (BitRead(bits.data(), k))
        positions.push_back(k);
    std::vector<unsigned int> wide(positions.size() + 1);
    ASSERT_EQ(DecodeNumBit(bits.data(), n, wide.data(), 0), static_cast<int>(positions.size()));
    wide.pop_back();
    ASSERT_EQ(wide, positions);
    unsigned char index[256] = {}, rank[256] = {};
    ASSERT_EQ(SumBit(bits.data(), n, index, rank), static_cast<int>(positions.size()));
    for (std::size_t k = 0; k < positions.size(); ++k) {
      ASSERT_EQ(index[k], positions[k]);
      ASSERT_EQ(rank[positions[k]], k + 1);
    }
    ASSERT_EQ(SumBit(bits.data(), n, nullptr, nullptr), static_cast<int>(positions.size()));
    // DecodeStrBit's characters, with '0' for the zero bytes, read back by
    // ConvStrBit give the same set.
    std::string text(8 * n, 'X');
    DecodeStrBit(bits.data(), n, text.data());
    for (char& c : text)
      c = c == '\0' ? '0' : c;
    Bytes back(n, 0x5A);
    ASSERT_EQ(ConvStrBit(text.c_str(), back.data()), 1);
    ASSERT_EQ(back, bits);
  }
}

} // namespace
} // namespace zel
