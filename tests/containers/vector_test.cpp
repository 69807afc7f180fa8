#include "zeltools/containers/vector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>

#include "support/damage.h"
#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/containers/type_value.h"
#include "zeltools/files/file_base.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// A text element that owns heap storage and is not trivially copyable. It
// counts the objects alive, and every use of an object that was copied, moved
// or destroyed as raw bytes: each object remembers its own address.
class Text {
public:
  Text() { Born(); }
  Text(const char* s) : text_(s) { Born(); }  // NOLINT: implicit like the library's texts
  Text(const Text& o) : text_((o.Check(), o.text_)) { Born(); }
  Text(Text&& o) noexcept : text_((o.Check(), std::move(o.text_))) { Born(); }
  Text& operator=(const Text& o) { return Check(), o.Check(), text_ = o.text_, *this; }
  Text& operator=(Text&& o) noexcept { return Check(), o.Check(), text_ = std::move(o.text_), *this; }
  ~Text() { Check(), self_ = nullptr, --live; }
  operator const char*() const { return Check(), text_.c_str(); }
  bool operator<(const Text& o) const { return std::strcmp(*this, o) < 0; }
  bool operator==(const Text& o) const { return std::strcmp(*this, o) == 0; }
  static inline long live = 0, corrupt = 0;

private:
  void Born() { self_ = this, ++live; }
  void Check() const { corrupt += self_ != this; }
  const Text* self_ = nullptr;
  std::string text_;
};

template <class T>
std::vector<T> Std(const Vector<T>& v) { return std::vector<T>(v.begin(), v.end()); }

// --- editing against a plain model ------------------------------------------

// 0-based; j 0 means i alone; bounds in either order; filled up to the last element.
template <class T>
void SetValueModel(std::vector<T>& m, const T& value, unsigned int i, unsigned int j) {
  if (j == 0) j = i;
  for (std::size_t k = std::min(i, j); k <= std::max(i, j) && k < m.size(); ++k) m[k] = value;
}

// 1-based; (0, 0) clears; j 0 means i alone; either order; 0 counts as 1; clamped to the count.
template <class T>
void EraseModel(std::vector<T>& m, unsigned int i, unsigned int j) {
  if (i == 0 && j == 0) return m.clear();
  if (j == 0) j = i;
  const std::size_t lo = std::max(1u, std::min(i, j)), hi = std::min<std::size_t>(std::max(i, j), m.size());
  if (lo <= m.size()) m.erase(m.begin() + (lo - 1), m.begin() + hi);
}

// Random edits applied alike to a Vector and a std::vector. Sources and values
// often lie in the vector itself, whose storage is kept tight so that growing
// moves it.
template <class T>
void CheckEditsAgainstModel(unsigned int seed) {
  std::mt19937 rng(seed);
  const auto make = [&rng] {
    if constexpr (std::is_same_v<T, Text>) return Text(std::to_string(rng() % 20).c_str());
    else return static_cast<T>(rng() % 20);
  };
  for (int trial = 0; trial < 200; ++trial) {
    Vector<T> v;
    std::vector<T> m;
    for (int step = 0; step < 25; ++step) {
      v.shrink_to_fit();
      const std::vector<T> before = m;
      const unsigned int n = v.GetSize(), i = rng() % (n + 3), j = rng() % (n + 3), c = rng() % 4;
      std::vector<T> outside(n + 3);
      std::generate(outside.begin(), outside.end(), make);
      const T* src = c > 0 && n >= c && rng() % 2 ? v.data() + rng() % (n - c + 1) : outside.data();
      const T& value = n > 0 && rng() % 2 ? v[rng() % n] : outside[0];
      const std::vector<T> from(src, src + c);
      const T copy(value);
      switch (rng() % 14) {
      case 0: ASSERT_EQ(v.Append(c, src), n + 1); m.insert(m.end(), from.begin(), from.end()); break;
      case 1: ASSERT_EQ(v.Append(value), n + 1); m.push_back(copy); break;
      case 2: ASSERT_EQ(v.AddSize(c, value), n + 1); m.insert(m.end(), c, copy); break;
      case 3: v.SetSize(i, value); m.resize(i, copy); break;
      case 4: v.Set(c, src); m = from; break;
      case 5: v.SetValue(value, i, j); SetValueModel(m, copy, i, j); break;
      case 6: v.Erase(i, j); EraseModel(m, i, j); if (i == 0 && j == 0) ASSERT_EQ(v.capacity(), 0u); break;
      case 7: ASSERT_EQ(v.Replace(i, value), i >= 1 && i <= n); if (i >= 1 && i <= n) m[i - 1] = copy; break;
      case 8: {
        const bool valid = i >= 1 && j >= i && j <= n;
        ASSERT_EQ(v.Replace(i, j, outside.data()), valid);
        if (valid) std::copy(outside.begin(), outside.begin() + (j - i + 1), m.begin() + (i - 1));
        break;
      }
      case 9: v.Remove(value); m.erase(std::remove(m.begin(), m.end(), copy), m.end()); break;
      case 10: v.Remove(c, src); for (const T& r : from) m.erase(std::remove(m.begin(), m.end(), r), m.end()); break;
      case 11: v.SetZero(); std::fill(m.begin(), m.end(), T()); break;
      case 12: {  // SetMaxSize(0) empties and keeps the storage; otherwise it only ever grows it
        const std::size_t cap = v.capacity();
        v.SetMaxSize(i);
        if (i == 0) m.clear();
        ASSERT_TRUE(i == 0 ? v.capacity() == cap : v.capacity() >= std::max<std::size_t>(cap, i));
        break;
      }
      default: if (n < 10) { ASSERT_EQ(v.Append(v), n + 1); m.insert(m.end(), before.begin(), before.end()); }
      }
      ASSERT_TRUE(Std(v) == m) << "trial " << trial << " step " << step;
      ASSERT_EQ(v.Get(i), i >= 1 && i <= m.size() ? v.data() + (i - 1) : nullptr);
      ASSERT_EQ(v.Exist(copy), std::find(m.begin(), m.end(), copy) != m.end());
      ASSERT_EQ(v.Compare(before), m < before ? -1 : m == before ? 0 : 1);
      const T* a = i >= 1 && i <= m.size() ? &m[i - 1] : nullptr;
      const T* b = j >= 1 && j <= m.size() ? &m[j - 1] : nullptr;
      ASSERT_EQ(v.Compare(i, j), !a ? (b ? -1 : 0) : !b ? 1 : *a < *b ? -1 : *a == *b ? 0 : 1);
    }
  }
}

TEST(Vector, EditsMatchAPlainModelForPlainAndObjectElements) {
  const long liveBefore = Text::live;
  CheckEditsAgainstModel<int>(5);
  CheckEditsAgainstModel<Text>(6);
  EXPECT_EQ(Text::live, liveBefore);
  EXPECT_EQ(Text::corrupt, 0);
}

TEST(Vector, AddStrJoinsZeroTerminatedTexts) {
  Vector<char> v;
  const unsigned int lengths[] = {v.AddStr("ab", ','), v.AddStr("cd", ','), v.AddStr("ef", 0), v.AddStr(nullptr, 0),
                                  v.AddStr("", ';')};
  EXPECT_EQ(std::vector<unsigned int>(lengths, lengths + 5), (std::vector<unsigned int>{2, 5, 7, 7, 8}));
  EXPECT_EQ(std::string(v.data(), v.size()), std::string("ab,cdef;", 9));
  v.shrink_to_fit();
  EXPECT_EQ(v.AddStr(v.data(), '+'), 17u);  // the text may lie in the vector
  EXPECT_STREQ(v.data(), "ab,cdef;+ab,cdef;");
}

// --- ordering ---------------------------------------------------------------

TEST(Vector, CompareOrdersNullFirstPointersByAddressAndGivesOneForNaN) {
  const Vector<double> v{1.0, kNaN, -0.0, 0.0};
  EXPECT_EQ((std::vector<int>{v.Compare(1, 2), v.Compare(2, 1), v.Compare(2, 2), v.Compare(3, 4)}),
            (std::vector<int>{1, 1, 1, 0}));
  char text[4] = "abc";
  Vector<char*> p{text + 2, text, text + 1, text};
  EXPECT_TRUE(p.Compare(2, 3) == -1 && p.Compare(2, 4) == 0);
  p.Sort(true);
  EXPECT_EQ(Std(p), (std::vector<char*>{text, text + 1, text + 2}));
}

// Pairs holding NaNs are no strict order: they must still sort, compact and
// order without harm (points, whose < is always false, are the point
// vectors' test).
TEST(Vector, ElementsWithoutAStrictOrderStillSort) {
  using P = CTypeValue<unsigned short, double>;
  std::mt19937_64 rng(8);
  Vector<P> v;
  for (int k = 0; k < 5000; ++k) v.push_back(P(static_cast<unsigned short>(rng() % 3), rng() % 4 ? rng() % 5 : kNaN));
  Vector<P> sorted = v;
  sorted.Sort(true);
  for (std::size_t k = 1; k < sorted.size(); ++k) ASSERT_LE(+sorted[k - 1].type, +sorted[k].type);
  std::vector<unsigned int> order;
  v.Order(order);
  std::sort(order.begin(), order.end());
  EXPECT_TRUE(order.size() == 5000 && order.back() == 5000 && std::adjacent_find(order.begin(), order.end()) == order.end());
  EXPECT_EQ(v.Compress(true, nullptr), 1);
}

// Random values with many duplicates (narrow) or spread over the whole type.
template <class T>
T RandomValue(std::mt19937_64& rng, bool narrow) {
  if constexpr (std::is_floating_point_v<T>) {
    using L = std::numeric_limits<T>;
    static const T specials[] = {T(0), -T(0), T(1), T(-1), L::infinity(), -L::infinity(), L::quiet_NaN(),
                                 -L::quiet_NaN(), L::denorm_min(), -L::max(), L::lowest()};
    if (rng() % 8 == 0) return specials[rng() % std::size(specials)];
    if (narrow) return static_cast<T>(static_cast<int>(rng() % 21) - 10) / 4;
    return static_cast<T>(std::ldexp(double(static_cast<std::int64_t>(rng())), static_cast<int>(rng() % 200) - 160));
  } else if constexpr (std::is_integral_v<T>) {
    return narrow ? static_cast<T>(static_cast<int>(rng() % 9) - 4) : static_cast<T>(rng());
  } else if constexpr (std::is_same_v<T, Text>) {
    static const char* words[] = {"", "a", "ab", "abc", "b", "\xE0", ("\xE0" "a"), "Z"};
    return Text(words[rng() % (narrow ? 3 : std::size(words))]);
  } else {
    return T(static_cast<decltype(T().type)>(narrow ? rng() % 3 : rng()), RandomValue<decltype(T().value)>(rng, narrow));
  }
}

// The reference order puts NaNs last; results match it when equal or both NaN.
template <class T>
bool ModelLess(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) || std::isnan(b)) return !std::isnan(a);
  }
  return static_cast<bool>(a < b);
}
template <class T>
bool Same(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a)) return std::isnan(b);
  }
  return static_cast<bool>(a == b);
}
template <class T>
bool SameSequence(const std::vector<T>& a, const std::vector<T>& b) { return std::equal(a.begin(), a.end(), b.begin(), b.end(), Same<T>); }

template <class T>
std::vector<T> SortModel(std::vector<T> v, bool unique) {
  std::sort(v.begin(), v.end(), ModelLess<T>);
  if (unique) v.erase(std::unique(v.begin(), v.end(), [](const T& a, const T& b) { return static_cast<bool>(a == b); }), v.end());
  return v;
}

// Compaction of the sorted values, kept for compatibility: the smallest one
// survives only when an excluded value is given and differs from it.
template <class T>
std::vector<T> CompressModel(const std::vector<T>& v, bool unique, const T* ex, int& result) {
  const std::vector<T> s = SortModel(v, false);
  std::vector<T> out;
  for (std::size_t k = 0; k < s.size(); ++k) {
    const bool excluded = ex != nullptr && static_cast<bool>(s[k] == *ex);
    if (k == 0 ? ex != nullptr && !excluded : !excluded && !(unique && static_cast<bool>(s[k] == s[k - 1]))) out.push_back(s[k]);
  }
  result = v.empty() || out.size() != v.size() ? 1 : 0;
  return out;
}

template <class T>
class VectorOrdering : public ::testing::Test {};
using OrderedTypes = ::testing::Types<char, unsigned char, unsigned short, int, unsigned int, long long, float, double,
                                      CTypeValue<unsigned char, int>, CTypeValue<unsigned char, unsigned short>,
                                      CTypeValue<unsigned int, unsigned int>, Text>;
TYPED_TEST_SUITE(VectorOrdering, OrderedTypes);

TYPED_TEST(VectorOrdering, SortCompressAndOrderMatchTheReference) {
  using T = TypeParam;
  std::mt19937_64 rng(1234);
  std::vector<std::size_t> sizes{0, 1, 2, 3, 5, 17, 200};
  if (!std::is_same_v<T, Text>) sizes.insert(sizes.end(), {1023, 1024, 1025, 3000, 40000});
  for (std::size_t n : sizes) {
    for (int mode = 0; mode < 8; ++mode) {
      Vector<T> v;
      for (std::size_t k = 0; k < n; ++k) v.push_back(RandomValue<T>(rng, mode % 2 == 0));
      const std::vector<T> before = Std(v), sorted = SortModel(before, false);
      const bool unique = (mode & 2) != 0;
      std::vector<unsigned int> order{42}, positions(n);
      v.Order(order);
      ASSERT_TRUE(SameSequence(Std(v), before)) << "Order changed the vector";
      std::iota(positions.begin(), positions.end(), 1u);
      std::vector<unsigned int> sortedOrder = order;
      std::sort(sortedOrder.begin(), sortedOrder.end());
      ASSERT_EQ(sortedOrder, positions) << "not a permutation of 1.." << n;
      std::vector<T> viaOrder;
      for (unsigned int pos : order) viaOrder.push_back(before[pos - 1]);
      ASSERT_TRUE(SameSequence(viaOrder, sorted)) << "n " << n;
      Vector<T> s = v;
      s.Sort(unique);
      ASSERT_TRUE(SameSequence(Std(s), SortModel(before, unique))) << "n " << n << " mode " << mode;
      // A range sorts alone; with unique the rest moves down. Ranges outside the storage are left alone.
      const std::size_t a = rng() % (n + 1), b = a + rng() % (n - a + 1);
      std::vector<T> range = before, foreign = before;
      const std::vector<T> middle = SortModel(std::vector<T>(before.begin() + a, before.begin() + b), unique && b > a + 1);
      range.erase(range.begin() + a, range.begin() + b);
      range.insert(range.begin() + a, middle.begin(), middle.end());
      s = v;
      if (mode % 2) s.Sort(s.data() + a, s.data() + b, unique); else s.Sort(s.begin() + a, s.begin() + b, unique);
      s.Sort(foreign.data(), foreign.data() + n, true);
      ASSERT_TRUE(SameSequence(Std(s), range) && SameSequence(foreign, before)) << "range " << a << ".." << b;
      // Half the trials exclude a value that lies in the vector itself.
      const T other = RandomValue<T>(rng, true);
      const T* excluded = (mode & 4) == 0 ? nullptr : n > 0 ? &v[rng() % n] : &other;
      int expectedResult = -1;
      const std::vector<T> expected = CompressModel(before, unique, excluded, expectedResult);
      ASSERT_EQ(v.Compress(unique, excluded), expectedResult);
      ASSERT_TRUE(SameSequence(Std(v), expected)) << "n " << n << " mode " << mode;
    }
  }
  EXPECT_EQ(Text::corrupt, 0);
}

// --- persistence ------------------------------------------------------------

using Bytes = std::vector<unsigned char>;

template <class T>
Bytes ImageOf(const std::vector<T>& v) {
  Bytes b(v.size() * sizeof(T));
  if (!v.empty()) std::memcpy(b.data(), static_cast<const void*>(v.data()), b.size());
  return b;
}

class VectorFile : public test::FileTest {
protected:
  CFileBase f_;
};

TEST_F(VectorFile, BlocksAreCountThenElementImagesAppendedAndDescribed) {
  ASSERT_EQ(f_.Open(path_.c_str(), "rw"), 1);
  f_.Add(100);
  DOCUMENT skipped{5, 5}, first, empty;
  const Vector<double> three{1.5, -2.0, 1e300};
  Vector<double>().Write(f_, skipped, 0, 0);
  three.Write(f_, first, 0, 1);
  Vector<double>().Write(f_, empty, 1);
  EXPECT_EQ((std::vector<long long>{skipped.position, skipped.length, first.position, first.length, empty.position,
                                    empty.length}),
            (std::vector<long long>{0, 0, 100, 28, 128, 4}));
  f_.Close();
  Bytes expected{3, 0, 0, 0};
  for (const Bytes& part : {ImageOf(Std(three)), Bytes{0, 0, 0, 0}})
    expected.insert(expected.end(), part.begin(), part.end());
  const Bytes bytes = test::Bytes(path_);
  EXPECT_EQ(Bytes(bytes.begin() + std::min<std::size_t>(100, bytes.size()), bytes.end()), expected);
  ASSERT_EQ(f_.Open(path_.c_str(), "r"), 1);
  Vector<double> back{9.0};
  back.Read(f_, first);
  EXPECT_EQ(Std(back), Std(three));
  back.Read(f_, empty);
  EXPECT_TRUE(back.empty());
  back = three;
  back.Read(f_, DOCUMENT{});  // the record of an empty vector clears
  EXPECT_EQ(back.capacity(), 0u);
}

TEST_F(VectorFile, PositionalFormsWriteInPlaceAndReadInSequence) {
  ASSERT_EQ(f_.Open(path_.c_str(), "rw"), 1);
  EXPECT_EQ((Vector<int>{1, 2, 3}.Write(f_, -1)), 0u);
  EXPECT_EQ((Vector<int>{-4}.Write(f_, -1)), 16u);
  EXPECT_EQ((Vector<int>{7, 8, 9}.Write(f_, 0)), 0u);  // over the first payload
  Vector<int> back, next;
  back.Read(f_, 0);
  next.Read(f_, -1);  // continues where the first one ended
  EXPECT_EQ(Std(back), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(Std(next), (std::vector<int>{-4}));
}

TEST_F(VectorFile, DamagedBlocksAndCountsLeaveTheVectorAsItWas) {
  test::ExpectEveryDamageReported(
      path_, [](CFileBase& f, DOCUMENT& doc) { Vector<int>{1, 2, 3, 4, 5}.Write(f, doc, 0); },
      [](CFileBase& f, DOCUMENT doc) {
        Vector<int> v{1, 2};
        v.Read(f, doc);
        const bool accepted = static_cast<CPhrase*>(f.GetSink())->empty();
        EXPECT_TRUE(accepted || Std(v) == (std::vector<int>{1, 2}));
        return accepted;
      });
}

TEST_F(VectorFile, ElementsThatAreNotPlainBytesAreNeverReadAsImages) {
  const long liveBefore = Text::live;
  ASSERT_EQ(f_.Open(path_.c_str(), "rw"), 1);
  DOCUMENT doc;
  Vector<Text>{"alpha", "beta"}.Write(f_, doc, 0);
  EXPECT_EQ(doc.length, static_cast<long long>(4 + 2 * sizeof(Text)));
  Vector<Text> back{"x"};
  back.Read(f_, doc);
  EXPECT_EQ(Std(back), (std::vector<Text>{"", ""}));
  EXPECT_EQ(f_.GetPosRead(), doc.position + doc.length);
  back.Clear();
  EXPECT_EQ(Text::live, liveBefore);
  EXPECT_EQ(Text::corrupt, 0);
}

} // namespace
} // namespace zel
