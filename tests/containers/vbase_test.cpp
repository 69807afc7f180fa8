#include "zeltools/containers/vbase.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/containers/type_codes.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

using Records = std::vector<std::vector<unsigned char>>;

Records Take(const unsigned char* p, unsigned int n, unsigned int length) {
  Records out;
  for (unsigned int k = 0; k < n; ++k) out.emplace_back(p + k * length, p + (k + 1) * length);
  return out;
}

// Random edits of records of a random type's length, applied alike to a
// std::vector of records; sources often lie inside the vector itself.
TEST(VBase, EditingMatchesAVectorOfRecords) {
  std::mt19937 rng(21);
  for (int trial = 0; trial < 300; ++trial) {
    VBase v;
    v.SetType(static_cast<unsigned short>(1 + rng() % 50), 0);
    const unsigned int length = v.GetLength();
    ASSERT_EQ(length, TypeElementSize(v.GetType(), 0));
    Records model;
    for (int step = 0; step < 20; ++step) {
      const unsigned int n = v.GetSize(), i = rng() % (n + 3), j = rng() % (n + 3), c = 1 + rng() % 3;
      std::vector<unsigned char> outside(length * (n + 3));
      for (unsigned char& b : outside) b = static_cast<unsigned char>(rng());
      const unsigned char* src = n >= c && rng() % 2 ? v.Get(1 + rng() % (n - c + 1)) : outside.data();
      const Records from = Take(src, c, length);
      switch (rng() % 8) {
      case 0: ASSERT_EQ(v.Append(c, src), n + 1); model.insert(model.end(), from.begin(), from.end()); break;
      case 1: v.Set(c, src); model = from; break;
      case 2: ASSERT_EQ(v.AddSize(c), n + 1); model.resize(n + c, std::vector<unsigned char>(length, 0)); break;
      case 3: v.SetSize(i); model.resize(i, std::vector<unsigned char>(length, 0)); break;
      case 4: if (n < 8) { v += v; const Records copy = model; model.insert(model.end(), copy.begin(), copy.end()); } break;
      case 5: {
        ASSERT_EQ(v.Replace(i, src), i >= 1 && i <= n ? 1 : 0);
        if (i >= 1 && i <= n) model[i - 1] = from[0];
        break;
      }
      case 6: {
        const bool valid = i >= 1 && j >= i && j <= n;
        ASSERT_EQ(v.Replace(i, j, outside.data()), valid ? 1 : 0);
        if (valid) std::copy_n(Take(outside.data(), j - i + 1, length).begin(), j - i + 1, model.begin() + (i - 1));
        break;
      }
      default: {  // Erase: (0, 0) clears, j 0 means i alone, either order, 0 counts as 1, clamped
        v.Erase(i, j);
        const unsigned int last = j == 0 ? i : j, lo = std::max(1u, std::min(i, last));
        if (i == 0 && j == 0) model.clear();
        else if (lo <= n) model.erase(model.begin() + (lo - 1), model.begin() + std::min(std::max(i, last), n));
      }
      }
      ASSERT_EQ(Take(v.Bytes().data(), v.GetSize(), length), model) << "trial " << trial << " step " << step;
      ASSERT_TRUE(v.Get(0) == nullptr && v.Get(v.GetSize() + 1) == nullptr);
    }
  }
}

TEST(VBase, CountsAreInWholeElementsOfTheCurrentLength) {
  VBase v;
  EXPECT_EQ(v.GetLength(), 1);  // new: a vector of bytes
  v.SetType(11, 0);
  v.Append(3, nullptr);
  v.SetType(23, 0);  // 24 bytes held: 4 whole 5-byte records and a tail
  EXPECT_EQ(v.GetSize(), 4u);
  EXPECT_EQ(v.AddSize(1), 5u);
  EXPECT_EQ(v.Bytes().size(), 25u);  // the tail was cut first
  v.SetMaxSize(50);
  const unsigned int capacity = v.GetMaxSize();
  v.SetMaxSize(0);  // empties, keeps the storage
  EXPECT_TRUE(capacity >= 50 && v.GetMaxSize() == capacity && v.GetSize() == 0);
  v.Clear();
  EXPECT_EQ(v.GetMaxSize(), 0u);
  v.SetType(0, 0);
  v.Append(3, "abc");  // a zero length holds no elements
  EXPECT_EQ(v.GetSize() + v.GetMaxSize(), 0u);
}

// Equality needs type, length and bytes; order compares the bytes only, as
// unsigned values, so a proper prefix comes first whatever the length.
TEST(VBase, EqualityAndOrderLookAtDifferentThings) {
  VBase a, b, prefix;
  a.SetType(6, 0);
  b.SetType(7, 0);  // same 4-byte length, other code
  prefix.SetType(1, 0);
  const unsigned char bytes[] = {1, 2, 3, 4}, high[] = {0x80, 0, 0, 0};
  a.Append(1, bytes);
  b.Append(1, bytes);
  prefix.Append(2, bytes);
  EXPECT_EQ(a == b, 0);
  EXPECT_TRUE(!(a < b) && !(b < a) && prefix < a);
  b.SetType(6, 0);
  EXPECT_EQ(a == b, 1);
  b.Replace(1, high);
  EXPECT_TRUE(a < b);
}

using VBaseFile = test::FileTest;

TEST_F(VBaseFile, ReadTakesAByteCountAndKeepsTypeAndLength) {
  // Two payloads back to back: 6 bytes, then a count far beyond the file.
  test::PutBytes(path_, {6, 0, 0, 0, 1, 2, 3, 4, 5, 6, 0xFF, 0xFF, 0, 0, 9});
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  VBase v;
  v.SetType(4, 0);
  v.Append(5, nullptr);
  v.Read(f);
  EXPECT_EQ(v.GetType(), 4);
  EXPECT_EQ(v.GetSize(), 3u);
  EXPECT_EQ(v.Bytes(), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(test::ThrownText([&] { v.Read(f); }), test::FileMessage(110, path_));
  EXPECT_EQ(v.GetSize(), 3u);  // unchanged
}

} // namespace
} // namespace zel
