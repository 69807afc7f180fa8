#include "zeltools/containers/vbase.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/containers/type_codes.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

// The element bytes of `v` as a vector of fixed-size records.
std::vector<std::vector<unsigned char>> Elements(const VBase& v) {
  std::vector<std::vector<unsigned char>> out;
  for (unsigned int i = 1; i <= v.GetSize(); ++i) out.emplace_back(v.Get(i), v.Get(i) + v.GetLength());
  return out;
}

TEST(VBase, NewVectorHoldsBytesOfTypeZero) {
  VBase v;
  EXPECT_EQ(v.GetType(), 0);
  EXPECT_EQ(v.GetLength(), 1);
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.GetMaxSize(), 0u);
  EXPECT_EQ(v.Get(1), nullptr);
}

TEST(VBase, SetTypeTakesTheLengthFromTheTypeTable) {
  VBase v;
  for (unsigned short type = 0; type < 300; ++type) {
    v.SetType(type, 7);
    EXPECT_EQ(v.GetType(), type);
    EXPECT_EQ(v.GetLength(), TypeElementSize(type, 7)) << "type " << type;
  }
  v.SetType(23, 0);
  EXPECT_EQ(v.GetLength(), 5);  // a packed 5-byte pair
  v.SetType(0, 0);
  v.Append(3, "abc");  // a zero length holds no elements
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.GetMaxSize(), 0u);
}

TEST(VBase, SizesAreCountedInElements) {
  VBase v;
  v.SetType(11, 0);  // 8-byte elements
  const double values[] = {1.5, -2.0, 3.25};
  EXPECT_EQ(v.Append(3, values), 1u);
  EXPECT_EQ(v.GetSize(), 3u);
  EXPECT_EQ(v.GetQuantity(), 3u);
  double second;
  std::memcpy(&second, v.Get(2), sizeof second);
  EXPECT_EQ(second, -2.0);
  EXPECT_EQ(v.Get(0), nullptr);
  EXPECT_EQ(v.Get(4), nullptr);
  EXPECT_EQ(v.AddSize(2), 4u);
  EXPECT_EQ(v.GetSize(), 5u);
  EXPECT_EQ(*v.Get(5), 0);
  v.SetMaxSize(50);
  EXPECT_GE(v.GetMaxSize(), 50u);
  EXPECT_EQ(v.GetSize(), 5u);
  const unsigned int capacity = v.GetMaxSize();
  v.SetMaxSize(0);  // empties, keeps the storage
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.GetMaxSize(), capacity);
  v.SetSize(2);
  EXPECT_EQ(v.Bytes(), std::vector<unsigned char>(16, 0));
  v.Clear();
  EXPECT_EQ(v.GetMaxSize(), 0u);
}

TEST(VBase, EditingMatchesAVectorOfRecords) {
  // Model: a std::vector of 3-byte records, edited with the same rules.
  std::mt19937 rng(21);
  for (int trial = 0; trial < 2000; ++trial) {
    VBase v;
    v.SetType(22, 0);
    std::vector<std::vector<unsigned char>> model;
    const unsigned int n = rng() % 7;
    for (unsigned int k = 0; k < n; ++k) {
      const unsigned char rec[3] = {static_cast<unsigned char>(k), static_cast<unsigned char>(rng()), 9};
      v.Append(1, rec);
      model.emplace_back(rec, rec + 3);
    }
    const unsigned int i = rng() % 9, j = rng() % 9;
    unsigned char src[27];  // nine records
    for (unsigned int b = 0; b < sizeof src; ++b) src[b] = static_cast<unsigned char>(100 + b);
    switch (trial % 3) {
      case 0: {
        v.Erase(i, j);
        if (i == 0 && j == 0) {
          model.clear();
          break;
        }
        const unsigned int b = j == 0 ? i : j;
        const unsigned int lo = std::max(1u, std::min(i, b)), hi = std::min<unsigned int>(std::max(i, b), n);
        if (lo <= n) model.erase(model.begin() + (lo - 1), model.begin() + hi);
        break;
      }
      case 1: {
        const bool valid = i >= 1 && j >= i && j <= n;
        EXPECT_EQ(v.Replace(i, j, src), valid ? 1 : 0);
        if (valid) {
          for (unsigned int p = i; p <= j; ++p) model[p - 1].assign(src + 3 * (p - i), src + 3 * (p - i) + 3);
        }
        break;
      }
      default: {
        const unsigned char r = v.Replace(i, src + 3);
        EXPECT_EQ(r, i >= 1 && i <= n ? 1 : 0);
        if (r) model[i - 1].assign(src + 3, src + 6);
        break;
      }
    }
    ASSERT_EQ(Elements(v), model) << "trial " << trial << " i " << i << " j " << j;
  }
}

TEST(VBase, AppendSetAndCopyAcceptSourcesInsideTheVector) {
  VBase v;
  v.SetType(4, 0);
  const unsigned short words[] = {1, 2, 3};
  v.Set(3, words);
  v.Append(3, v.Get(1));
  EXPECT_EQ(v.GetSize(), 6u);
  v += v;
  EXPECT_EQ(v.GetSize(), 12u);
  v.Set(2, v.Get(2));
  const unsigned short expected[] = {2, 3};
  ASSERT_EQ(v.Bytes().size(), sizeof expected);
  EXPECT_EQ(0, std::memcmp(v.Bytes().data(), expected, sizeof expected));
  v.Set(2, nullptr);
  EXPECT_EQ(v.Bytes(), std::vector<unsigned char>(4, 0));
  VBase c;
  c.Copy(v);
  EXPECT_EQ(c == v, 1);
  EXPECT_EQ(c.GetType(), 4);
}

TEST(VBase, EqualityAndOrderLookAtDifferentThings) {
  VBase a, b;
  a.SetType(6, 0);  // 4-byte elements
  b.SetType(7, 0);  // same length, other code
  const unsigned char bytes[] = {1, 2, 3, 4};
  a.Append(1, bytes);
  b.Append(1, bytes);
  EXPECT_EQ(a == b, 0);  // the type codes differ
  EXPECT_FALSE(a < b);   // but the bytes are the same
  EXPECT_FALSE(b < a);
  b.SetType(6, 0);
  EXPECT_EQ(a == b, 1);
  const unsigned char high[] = {0x80, 0, 0, 0};
  b.Replace(1, high);
  EXPECT_TRUE(a < b);  // bytes compare unsigned: 0x80 > 0x01
  VBase shorter;
  shorter.SetType(1, 0);
  shorter.Append(2, bytes);
  EXPECT_TRUE(shorter < a);  // a proper prefix comes first, whatever the length
  EXPECT_EQ(shorter == a, 0);
}

TEST(VBase, ReadTakesAByteCountAndKeepsTypeAndLength) {
  test::ScopedLanguage english(LanguageEnglish);
  test::TempDir dir;
  const std::string path = dir.File("vbase.bin");
  // Two payloads back to back: 6 bytes, then a count far beyond the file.
  test::PutBytes(path, {6, 0, 0, 0, 1, 2, 3, 4, 5, 6, 0xFF, 0xFF, 0, 0, 9});
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  VBase v;
  v.SetType(4, 0);
  v.Append(5, nullptr);
  v.Read(f);
  EXPECT_EQ(v.GetType(), 4);
  EXPECT_EQ(v.GetLength(), 2);
  EXPECT_EQ(v.GetSize(), 3u);
  EXPECT_EQ(v.Bytes(), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6}));
  char expected[1024];
  std::snprintf(expected, sizeof expected, test::CatalogueText(110).c_str(), path.c_str());
  EXPECT_EQ(test::ThrownText([&] { v.Read(f); }), expected);
  EXPECT_EQ(v.GetSize(), 3u);  // unchanged
}

} // namespace
} // namespace zel
