#include "zeltools/containers/vector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/containers/type_value.h"
#include "zeltools/geometry/point2d.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// A text-like element that owns heap storage, is not trivially copyable, and
// notices being copied or destroyed as raw bytes: every object remembers its
// own address, and every operation checks it.
class Text {
public:
  Text() { Born(); }
  Text(const char* s) : text_(s == nullptr ? "" : s) { Born(); }  // NOLINT: implicit like the library's texts
  Text(const Text& o) : text_(o.Checked().text_) { Born(); }
  Text(Text&& o) noexcept : text_(std::move(o.Checked().text_)) { Born(); }
  Text& operator=(const Text& o) {
    Checked().text_ = o.Checked().text_;
    return *this;
  }
  Text& operator=(Text&& o) noexcept {
    Checked().text_ = std::move(o.Checked().text_);
    return *this;
  }
  ~Text() {
    Checked();
    self_ = nullptr;
    --live;
  }
  operator const char*() const { return Checked().text_.c_str(); }
  bool operator<(const char* s) const { return std::strcmp(Checked().text_.c_str(), s) < 0; }
  int operator==(const char* s) const { return std::strcmp(Checked().text_.c_str(), s) == 0 ? 1 : 0; }

  static inline long live = 0;
  static inline long corrupt = 0;

private:
  void Born() {
    self_ = this;
    ++live;
  }
  const Text& Checked() const {
    if (self_ != this) ++corrupt;
    return *this;
  }
  Text& Checked() {
    if (self_ != this) ++corrupt;
    return *this;
  }
  const Text* self_ = nullptr;
  std::string text_;
};
static_assert(!std::is_trivially_copyable_v<Text>);

template <class T>
std::vector<T> Std(const Vector<T>& v) {
  return std::vector<T>(v.begin(), v.end());
}

// --- size, access, growth ------------------------------------------------

TEST(Vector, GetIsOneBasedAndNullOutsideTheCount) {
  Vector<int> v{10, 20, 30};
  EXPECT_EQ(v.Get(0), nullptr);
  EXPECT_EQ(v.Get(4), nullptr);
  ASSERT_NE(v.Get(3), nullptr);
  EXPECT_EQ(*v.Get(1), 10);
  EXPECT_EQ(*v.Get(3), 30);
  EXPECT_EQ(v.GetSize(), 3u);
  EXPECT_EQ(v.GetQuantity(), 3u);
  EXPECT_EQ(static_cast<int*>(v), v.data());
  EXPECT_EQ(v[1], 20);
  EXPECT_EQ(v[2u], 30);
  EXPECT_EQ(v[std::uint64_t{0}], 10);
  EXPECT_EQ(v[std::size_t{1}], 20);
  Vector<int> empty;
  EXPECT_EQ(static_cast<int*>(empty), nullptr);
  EXPECT_EQ(empty.Get(1), nullptr);
}

TEST(Vector, AppendReturnsTheFirstNewPosition) {
  Vector<double> v;
  const double three[] = {1, 2, 3};
  EXPECT_EQ(v.Append(2.5), 1u);
  EXPECT_EQ(v.Append(3, three), 2u);
  EXPECT_EQ(v.Append(0, three), 5u);
  EXPECT_EQ(v.Append(0, nullptr), 5u);
  EXPECT_EQ(v.GetSize(), 4u);
  EXPECT_EQ(v.Append(2, nullptr), 5u);  // null source: value-initialised
  EXPECT_EQ(Std(v), (std::vector<double>{2.5, 1, 2, 3, 0, 0}));
  Vector<double> w{7};
  EXPECT_EQ(w.Append(v), 2u);
  w += 8.0;
  w += std::vector<double>{9};
  EXPECT_EQ(Std(w), (std::vector<double>{7, 2.5, 1, 2, 3, 0, 0, 8, 9}));
  EXPECT_EQ(w.AddSize(2, -1.0), 10u);
  EXPECT_EQ(w.AddSize(1), 12u);
  EXPECT_EQ(w.GetSize(), 12u);
  EXPECT_EQ(w[10], -1.0);
  EXPECT_EQ(w[11], 0.0);
}

TEST(Vector, SourcesInsideTheVectorSurviveReallocation) {
  Vector<int> v{1, 2, 3};
  v.shrink_to_fit();
  v.Append(3, v.data());
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2, 3, 1, 2, 3}));
  v.shrink_to_fit();
  v.Append(v);
  EXPECT_EQ(v.GetSize(), 12u);
  v.shrink_to_fit();
  v.Append(v[0]);
  v.shrink_to_fit();
  v.AddSize(2, v[1]);
  v.shrink_to_fit();
  v.SetSize(17, v[2]);
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 2, 3, 3}));
  v.Set(3, v.data() + 1);
  EXPECT_EQ(Std(v), (std::vector<int>{2, 3, 1}));
  v.Set(v);
  v.Replace(2, 3, v.data());
  EXPECT_EQ(Std(v), (std::vector<int>{2, 2, 3}));
  Vector<char> s;
  s.AddStr("abc", 0);
  s.shrink_to_fit();
  EXPECT_EQ(s.AddStr(s.data(), '+'), 7u);
  EXPECT_STREQ(s.data(), "abc+abc");
}

TEST(Vector, SetMaxSizeZeroEmptiesButKeepsCapacityWhileClearReleases) {
  Vector<double> v(5, 1.0);
  v.SetMaxSize(100);
  EXPECT_EQ(v.GetSize(), 5u);
  const std::size_t cap = v.capacity();
  EXPECT_GE(cap, 100u);
  v.SetMaxSize(10);  // never shrinks
  EXPECT_EQ(v.capacity(), cap);
  v.SetMaxSize(0);
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.capacity(), cap);
  v.SetSize(3);
  v.SetSize(0);
  EXPECT_EQ(v.capacity(), cap);
  v.SetSize(4);
  v.Clear();
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.capacity(), 0u);
}

TEST(Vector, SetCopyAndSetZero) {
  Vector<int> v;
  const int src[] = {4, 5, 6};
  v.Set(3, src);
  EXPECT_EQ(Std(v), (std::vector<int>{4, 5, 6}));
  v.Set(2, nullptr);
  EXPECT_EQ(Std(v), (std::vector<int>{0, 0}));
  const std::vector<int> plain{3, 4};
  Vector<int> fromPlain = plain;
  EXPECT_EQ(fromPlain.Compare(plain), 0);
  Vector<int> w{9};
  w.Copy(std::vector<int>{1, 2});
  EXPECT_EQ(Std(w), (std::vector<int>{1, 2}));
  w.SetZero(4);
  EXPECT_EQ(Std(w), (std::vector<int>{0, 0, 0, 0}));
  Vector<const char*> p{"a", "b"};
  p.SetZero();
  EXPECT_EQ(p[0], nullptr);
  EXPECT_EQ(p[1], nullptr);
  Vector<CTypeValue<unsigned short, double>> pairs{{1, 2.0}, {3, 4.0}};
  pairs.SetZero();
  EXPECT_TRUE(pairs[1] == (CTypeValue<unsigned short, double>()));
}

// --- SetValue and Erase against simple models ---------------------------

std::vector<int> SetValueModel(std::vector<int> v, int value, unsigned i, unsigned j) {
  if (v.empty()) return v;
  if (j == 0) j = i;  // 0 as the second bound names the first bound alone
  const std::size_t n = v.size();
  for (std::size_t k = 0; k < n; ++k) {
    if (k >= std::min(i, j) && k <= std::max(i, j)) v[k] = value;
  }
  return v;
}

TEST(Vector, SetValueEdgesAndModel) {
  Vector<int> v{1, 2, 3, 4};
  v.SetValue(9, 0, 0);
  EXPECT_EQ(Std(v), (std::vector<int>{9, 2, 3, 4}));
  v.SetValue(8, 2, 0);
  EXPECT_EQ(Std(v), (std::vector<int>{9, 2, 8, 4}));
  v.SetValue(7, 3, 1);
  EXPECT_EQ(Std(v), (std::vector<int>{9, 7, 7, 7}));
  v.SetValue(6, 2, 1000);  // reaches past the end: filled to the last element
  EXPECT_EQ(Std(v), (std::vector<int>{9, 7, 6, 6}));
  v.SetValue(5, 4, 9);  // wholly past the end: nothing
  EXPECT_EQ(Std(v), (std::vector<int>{9, 7, 6, 6}));
  Vector<int> empty;
  empty.SetValue(1, 0, 5);
  EXPECT_TRUE(empty.empty());

  std::mt19937 rng(11);
  for (int trial = 0; trial < 3000; ++trial) {
    Vector<int> w(rng() % 7);
    std::iota(w.begin(), w.end(), 100);
    const unsigned i = rng() % 10, j = rng() % 10;
    const std::vector<int> expected = SetValueModel(Std(w), -1, i, j);
    w.SetValue(-1, i, j);
    ASSERT_EQ(Std(w), expected) << "size " << w.size() << " i " << i << " j " << j;
  }
}

std::vector<int> EraseModel(const std::vector<int>& v, unsigned i, unsigned j) {
  if (i == 0 && j == 0) return {};
  if (j == 0) j = i;
  const unsigned lo = std::max(1u, std::min(i, j)), hi = std::max(i, j);
  if (lo > v.size()) return v;
  std::vector<int> kept;
  for (unsigned p = 1; p <= v.size(); ++p) {
    if (p < lo || p > hi) kept.push_back(v[p - 1]);
  }
  return kept;
}

TEST(Vector, EraseEdgesAndModel) {
  const Vector<int> base{1, 2, 3, 4, 5, 6};
  auto erased = [&](unsigned i, unsigned j) {
    Vector<int> v = base;
    v.Erase(i, j);
    return Std(v);
  };
  EXPECT_TRUE(erased(0, 0).empty());
  EXPECT_EQ(erased(3, 0), (std::vector<int>{1, 2, 4, 5, 6}));
  EXPECT_EQ(erased(5, 2), (std::vector<int>{1, 6}));
  EXPECT_EQ(erased(7, 9), Std(base));
  EXPECT_EQ(erased(4, 99), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(erased(0, 3), (std::vector<int>{4, 5, 6}));
  Vector<int> cleared = base;
  cleared.Erase(0, 0);
  EXPECT_EQ(cleared.capacity(), 0u);

  std::mt19937 rng(5);
  for (int trial = 0; trial < 3000; ++trial) {
    Vector<int> v(rng() % 8);
    std::iota(v.begin(), v.end(), 1);
    const unsigned i = rng() % 11, j = rng() % 11;
    const std::vector<int> expected = EraseModel(Std(v), i, j);
    v.Erase(i, j);
    ASSERT_EQ(Std(v), expected) << "i " << i << " j " << j;
  }
}

TEST(Vector, ReplaceChecksItsPositions) {
  Vector<int> v{1, 2, 3};
  EXPECT_EQ(v.Replace(0, 5), 0);
  EXPECT_EQ(v.Replace(4, 5), 0);
  EXPECT_EQ(v.Replace(3, 5), 1);
  const int src[] = {7, 8, 0, 0};
  EXPECT_EQ(v.Replace(3, 2, src), 0);
  EXPECT_EQ(v.Replace(2, 4, src), 0);  // would write past the end: refused
  EXPECT_EQ(v.Replace(0, 1, src), 0);
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2, 5}));
  EXPECT_EQ(v.Replace(1, 2, src), 1);
  EXPECT_EQ(Std(v), (std::vector<int>{7, 8, 5}));
  Vector<double> d{kNaN};
  EXPECT_EQ(d.Replace(1, 1.5), 1);
  EXPECT_EQ(d[0], 1.5);
}

TEST(Vector, RemoveKeepsTheOrderOfTheRest) {
  Vector<int> v{3, 1, 3, 2, 3, 4};
  v.Remove(3);
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2, 4}));
  const int gone[] = {4, 9, 1};
  v.Remove(3, gone);
  EXPECT_EQ(Std(v), (std::vector<int>{2}));
  Vector<int> w{5, 6, 5, 7};
  w.Remove(std::vector<int>{5, 7});
  EXPECT_EQ(Std(w), (std::vector<int>{6}));
  Vector<int> x{1, 2, 1};
  x.Remove(x[0]);  // the value lives in the vector itself
  EXPECT_EQ(Std(x), (std::vector<int>{2}));
  x.Remove(x);
  EXPECT_TRUE(x.empty());
  Vector<double> d{kNaN, 1.0};
  d.Remove(kNaN);  // NaN equals nothing
  d.Remove(d);
  EXPECT_EQ(d.size(), 1u);
  EXPECT_TRUE(std::isnan(d[0]));
  EXPECT_EQ(Vector<int>({4, 5}).Exist(5), 1);
  EXPECT_EQ(Vector<int>({4, 5}).Exist(6), 0);
  EXPECT_EQ(d.Exist(kNaN), 0);
}

TEST(Vector, AddStrJoinsTexts) {
  Vector<char> v;
  EXPECT_EQ(v.AddStr("ab", ','), 2u);
  EXPECT_EQ(v.size(), 3u);
  EXPECT_EQ(v.AddStr("cd", ','), 5u);
  EXPECT_STREQ(v.data(), "ab,cd");
  EXPECT_EQ(v.AddStr("ef", 0), 7u);
  EXPECT_STREQ(v.data(), "ab,cdef");
  EXPECT_EQ(v.AddStr(nullptr, 0), 7u);
  EXPECT_EQ(v.size(), 8u);
  EXPECT_EQ(v.AddStr("", ';'), 8u);
  EXPECT_STREQ(v.data(), "ab,cdef;");
  Vector<unsigned char> u;
  EXPECT_EQ(u.AddStr("\xE0\xE1", 0), 2u);
  EXPECT_EQ(u[1], 0xE1);
  EXPECT_EQ(u[2], 0);
}

// --- comparison ----------------------------------------------------------

TEST(Vector, CompareElementsAndPositions) {
  const Vector<double> v{1.0, 2.0, kNaN, 2.0};
  EXPECT_EQ(v.Compare(nullptr, nullptr), 0);
  EXPECT_EQ(v.Compare(nullptr, &v[0]), -1);
  EXPECT_EQ(v.Compare(&v[0], nullptr), 1);
  EXPECT_EQ(v.Compare(1, 2), -1);
  EXPECT_EQ(v.Compare(2, 1), 1);
  EXPECT_EQ(v.Compare(2, 4), 0);
  EXPECT_EQ(v.Compare(3, 1), 1);  // NaN on either side gives 1
  EXPECT_EQ(v.Compare(1, 3), 1);
  EXPECT_EQ(v.Compare(3, 3), 1);
  EXPECT_EQ(v.Compare(0, 1), -1);  // missing first
  EXPECT_EQ(v.Compare(1, 5), 1);
  EXPECT_EQ(v.Compare(0, 9), 0);
  EXPECT_EQ(v.Compare(-1, 1), -1);
  const double negZero = -0.0, zero = 0.0;
  EXPECT_EQ(v.Compare(&negZero, &zero), 0);

  EXPECT_EQ(Vector<int>({1, 2}).Compare(std::vector<int>{1, 2, 0}), -1);
  EXPECT_EQ(Vector<int>({1, 2, 0}).Compare(std::vector<int>{1, 2}), 1);
  EXPECT_EQ(Vector<int>({1, 2}).Compare(std::vector<int>{1, 2}), 0);
  EXPECT_EQ(Vector<int>({1, 3}).Compare(std::vector<int>{1, 2, 9}), 1);
  EXPECT_EQ(Vector<int>().Compare(std::vector<int>{}), 0);
}

TEST(Vector, PointersCompareByAddress) {
  char text[4] = "abc";
  Vector<char*> v{text + 2, text, text + 1, text};
  EXPECT_EQ(v.Compare(2, 3), -1);
  EXPECT_EQ(v.Compare(2, 4), 0);
  v.Sort(true);
  EXPECT_EQ(Std(v), (std::vector<char*>{text, text + 1, text + 2}));
  std::vector<unsigned int> order;
  const char* z = "z";
  Vector<const char*>{z, nullptr}.Order(order);
  EXPECT_EQ(order, (std::vector<unsigned int>{2, 1}));
}

TEST(Vector, PointsWhoseLessIsAlwaysFalseStillSortAndCompress) {
  Vector<CPoint2D> v{{1, 2}, {1, 2}, {0, 5}, {1, 2}};
  EXPECT_EQ(v.Compare(1, 2), 0);
  EXPECT_EQ(v.Compare(1, 3), 1);
  EXPECT_EQ(v.Compare(3, 1), 1);
  v.Sort(true);  // every point looks equivalent: any order, equal neighbours go
  ASSERT_GE(v.size(), 2u);
  EXPECT_TRUE(v.Exist(CPoint2D{1, 2}) && v.Exist(CPoint2D{0, 5}));
  for (std::size_t k = 1; k < v.size(); ++k) EXPECT_FALSE(v[k] == v[k - 1]);
  std::vector<unsigned int> order;
  v.Order(order);
  std::sort(order.begin(), order.end());
  EXPECT_EQ(order.size(), v.size());
  for (unsigned int k = 0; k < order.size(); ++k) EXPECT_EQ(order[k], k + 1);
}

// --- Sort, Compress and Order against std:: references ---------------------

// Random values with many duplicates (narrow) or spread over the whole type.
template <class T>
T RandomValue(std::mt19937_64& rng, bool narrow) {
  if constexpr (std::is_floating_point_v<T>) {
    static const T specials[] = {T(0), -T(0), T(1), T(-1), std::numeric_limits<T>::infinity(),
                                 -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN(),
                                 -std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::denorm_min(),
                                 -std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest()};
    if (rng() % 8 == 0) return specials[rng() % std::size(specials)];
    if (narrow) return static_cast<T>(static_cast<int>(rng() % 21) - 10) / 4;
    return static_cast<T>(std::ldexp(static_cast<double>(static_cast<std::int64_t>(rng())), static_cast<int>(rng() % 200) - 160));
  } else if constexpr (std::is_integral_v<T>) {
    if (narrow) return static_cast<T>(static_cast<int>(rng() % 9) - 4);
    return static_cast<T>(rng());
  } else if constexpr (std::is_same_v<T, Text>) {
    static const char* words[] = {"", "a", "ab", "abc", "b", "\xE0", ("\xE0" "a"), "Z"};
    return Text(words[rng() % (narrow ? 3 : std::size(words))]);
  } else {
    using Type = decltype(T().type);
    using Value = decltype(T().value);
    const Type t = static_cast<Type>(narrow ? rng() % 3 : rng());
    return T(t, RandomValue<Value>(rng, narrow));
  }
}

template <class T>
bool ModelLess(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a)) return false;
    if (std::isnan(b)) return true;
  }
  return static_cast<bool>(a < b);
}

template <class T>
bool ModelEqual(const T& a, const T& b) {
  return static_cast<bool>(a == b);
}

// Equal, or both NaN: how a result is matched against the reference.
template <class T>
bool Same(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) && std::isnan(b)) return true;
  }
  return ModelEqual(a, b);
}

template <class T>
std::vector<T> SortModel(std::vector<T> v, bool unique) {
  std::sort(v.begin(), v.end(), ModelLess<T>);
  if (unique) v.erase(std::unique(v.begin(), v.end(), ModelEqual<T>), v.end());
  return v;
}

// The compaction rule written out plainly on a sorted copy.
template <class T>
std::vector<T> CompressModel(const std::vector<T>& v, bool unique, const T* excluded, int& result) {
  result = 1;
  if (v.empty()) return v;
  const std::vector<T> sorted = SortModel(v, false);
  std::vector<T> out;
  for (std::size_t k = 0; k < sorted.size(); ++k) {
    const bool isExcluded = excluded != nullptr && ModelEqual(sorted[k], *excluded);
    if (k == 0) {
      if (excluded != nullptr && !isExcluded) out.push_back(sorted[0]);
      continue;
    }
    if (isExcluded || (unique && ModelEqual(sorted[k], sorted[k - 1]))) continue;
    out.push_back(sorted[k]);
  }
  result = out.size() != v.size() ? 1 : 0;
  return out;
}

template <class T>
::testing::AssertionResult SameSequence(const std::vector<T>& actual, const std::vector<T>& expected) {
  if (actual.size() != expected.size()) {
    return ::testing::AssertionFailure() << "size " << actual.size() << " instead of " << expected.size();
  }
  for (std::size_t k = 0; k < actual.size(); ++k) {
    if (!Same(actual[k], expected[k])) return ::testing::AssertionFailure() << "differs at " << k;
  }
  return ::testing::AssertionSuccess();
}

template <class T>
class VectorOrdering : public ::testing::Test {};

using OrderedTypes =
    ::testing::Types<char, unsigned char, unsigned short, int, unsigned int, long long, float, double,
                     CTypeValue<unsigned char, int>, CTypeValue<unsigned char, unsigned short>,
                     CTypeValue<unsigned int, unsigned int>, Text>;
TYPED_TEST_SUITE(VectorOrdering, OrderedTypes);

std::vector<std::size_t> TrialSizes(bool heavy) {
  std::vector<std::size_t> sizes{0, 1, 2, 3, 5, 17, 200};
  if (!heavy) sizes.insert(sizes.end(), {1023, 1024, 1025, 3000, 40000});
  return sizes;
}

TYPED_TEST(VectorOrdering, SortMatchesTheReference) {
  using T = TypeParam;
  std::mt19937_64 rng(1234);
  for (std::size_t n : TrialSizes(std::is_same_v<T, Text>)) {
    for (int mode = 0; mode < 4; ++mode) {
      Vector<T> v;
      for (std::size_t k = 0; k < n; ++k) v.push_back(RandomValue<T>(rng, mode % 2 == 0));
      const bool unique = mode >= 2;
      const std::vector<T> expected = SortModel(Std(v), unique);
      v.Sort(unique);
      ASSERT_TRUE(SameSequence(Std(v), expected)) << "n " << n << " mode " << mode;
    }
  }
  EXPECT_EQ(Text::corrupt, 0);
}

TYPED_TEST(VectorOrdering, CompressMatchesTheReference) {
  using T = TypeParam;
  std::mt19937_64 rng(99);
  for (std::size_t n : TrialSizes(std::is_same_v<T, Text>)) {
    for (int mode = 0; mode < 8; ++mode) {
      Vector<T> v;
      for (std::size_t k = 0; k < n; ++k) v.push_back(RandomValue<T>(rng, mode % 2 == 0));
      const bool unique = (mode & 2) != 0;
      // Half the trials exclude a value that is (usually) present.
      const T excludedValue = n > 0 && (mode & 4) ? v[rng() % n] : RandomValue<T>(rng, true);
      const T* excluded = (mode & 4) ? &excludedValue : nullptr;
      int expectedResult = -1;
      const std::vector<T> expected = CompressModel(Std(v), unique, excluded, expectedResult);
      const int result = v.Compress(unique, excluded);
      ASSERT_TRUE(SameSequence(Std(v), expected)) << "n " << n << " mode " << mode;
      ASSERT_EQ(result, expectedResult);
    }
  }
  EXPECT_EQ(Text::corrupt, 0);
}

TYPED_TEST(VectorOrdering, OrderIsAPermutationThatSortsTheValues) {
  using T = TypeParam;
  std::mt19937_64 rng(77);
  for (std::size_t n : TrialSizes(std::is_same_v<T, Text>)) {
    for (int mode = 0; mode < 2; ++mode) {
      Vector<T> v;
      for (std::size_t k = 0; k < n; ++k) v.push_back(RandomValue<T>(rng, mode == 0));
      const std::vector<T> before = Std(v);
      std::vector<unsigned int> order{42};
      v.Order(order);
      ASSERT_TRUE(SameSequence(Std(v), before)) << "Order changed the vector";
      ASSERT_EQ(order.size(), n);
      std::vector<T> viaOrder;
      std::vector<bool> seen(n + 1, false);
      for (unsigned int pos : order) {
        ASSERT_TRUE(pos >= 1 && pos <= n && !seen[pos]) << "not a permutation of 1.." << n;
        seen[pos] = true;
        viaOrder.push_back(v[pos - 1]);
      }
      ASSERT_TRUE(SameSequence(viaOrder, SortModel(before, false))) << "n " << n;
    }
  }
}

TEST(Vector, SortEdgesAndNaNPlacement) {
  Vector<int> v{3, 1, 3, 2, 1};
  Vector<int> w = v;
  v.Sort(true);
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2, 3}));
  w.Sort(false);
  EXPECT_EQ(Std(w), (std::vector<int>{1, 1, 2, 3, 3}));
  Vector<double> d{kNaN, 2.0, -kNaN, -1.0, 0.0, -0.0, kNaN};
  d.Sort(true);  // NaNs last and never merged; -0 and +0 are one value
  ASSERT_EQ(d.size(), 6u);
  EXPECT_EQ(d[0], -1.0);
  EXPECT_EQ(d[1], 0.0);
  EXPECT_EQ(d[2], 2.0);
  EXPECT_TRUE(std::isnan(d[3]) && std::isnan(d[4]) && std::isnan(d[5]));
  std::vector<unsigned int> order;
  Vector<double>{kNaN, 5.0, -kNaN, 1.0}.Order(order);
  EXPECT_EQ(order[0], 4u);
  EXPECT_EQ(order[1], 2u);
}

TEST(Vector, SortOfARangeSortsOnlyThatRange) {
  std::mt19937_64 rng(3);
  for (int trial = 0; trial < 400; ++trial) {
    const std::size_t n = 1 + rng() % (trial < 300 ? 40 : 3000);
    Vector<int> v;
    for (std::size_t k = 0; k < n; ++k) v.push_back(static_cast<int>(rng() % 6));
    const std::size_t a = rng() % (n + 1), b = a + rng() % (n - a + 1);
    const bool unique = rng() % 2 == 0;
    std::vector<int> expected(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(a));
    const std::vector<int> middle = SortModel(std::vector<int>(v.begin() + static_cast<std::ptrdiff_t>(a), v.begin() + static_cast<std::ptrdiff_t>(b)), unique && b - a >= 2);
    expected.insert(expected.end(), middle.begin(), middle.end());
    expected.insert(expected.end(), v.begin() + static_cast<std::ptrdiff_t>(b), v.end());
    v.Sort(v.data() + a, v.data() + b, unique);
    ASSERT_EQ(Std(v), expected) << "range " << a << ".." << b << " of " << n;
  }
  Vector<int> byIterators{5, 1, 5, 0};
  byIterators.Sort(byIterators.begin() + 1, byIterators.end(), true);
  EXPECT_EQ(Std(byIterators), (std::vector<int>{5, 0, 1, 5}));
  Vector<int> v{3, 2, 1};
  int outside[2] = {2, 1};
  v.Sort(outside, outside + 2, true);  // not this vector's storage
  v.Sort(v.data() + 2, v.data() + 1, true);
  v.Sort(nullptr, v.data() + 3, false);
  EXPECT_EQ(Std(v), (std::vector<int>{3, 2, 1}));
  EXPECT_EQ(outside[0], 2);
}

TEST(Vector, CompressEdges) {
  Vector<int> v{0, 2, 2, 1};
  const int zero = 0;
  EXPECT_EQ(v.Compress(true, &zero), 1);
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2}));
  Vector<int> distinct{1, 2, 3};
  EXPECT_EQ(distinct.Compress(true, nullptr), 1);  // the smallest is dropped
  EXPECT_EQ(Std(distinct), (std::vector<int>{2, 3}));
  Vector<int> empty;
  EXPECT_EQ(empty.Compress(true, &zero), 1);
  Vector<int> kept{5, 4, 6};
  EXPECT_EQ(kept.Compress(true, &zero), 0);
  EXPECT_EQ(Std(kept), (std::vector<int>{4, 5, 6}));
  Vector<int> self{4, 4, 1, 4};
  EXPECT_EQ(self.Compress(false, &self[0]), 1);  // excluded value read before sorting
  EXPECT_EQ(Std(self), (std::vector<int>{1}));
  const double nan = kNaN;
  Vector<double> d{kNaN, 1.0, kNaN};
  EXPECT_EQ(d.Compress(true, &nan), 0);  // a NaN is never the excluded value
  EXPECT_EQ(d.size(), 3u);
}

TEST(Vector, OrderEdges) {
  std::vector<unsigned int> order{9, 9, 9, 9};
  Vector<int>{30, 10, 20}.Order(order);
  EXPECT_EQ(order, (std::vector<unsigned int>{2, 3, 1}));
  Vector<int>().Order(order);
  EXPECT_TRUE(order.empty());
}

TEST(Vector, PairsWithNaNValuesSortWithoutHarm) {
  using P = CTypeValue<unsigned short, double>;
  std::mt19937_64 rng(8);
  Vector<P> v;
  for (int k = 0; k < 5000; ++k) v.push_back(P(static_cast<unsigned short>(rng() % 3), rng() % 4 == 0 ? kNaN : static_cast<double>(rng() % 5)));
  Vector<P> w = v;
  v.Sort(true);
  // The type is still a strict order, so the types come out ascending.
  for (std::size_t k = 1; k < v.size(); ++k) ASSERT_LE(+v[k - 1].type, +v[k].type);
  EXPECT_EQ(w.Compress(true, nullptr), 1);
  std::vector<unsigned int> order;
  w.Order(order);
  EXPECT_EQ(order.size(), w.size());
}

TEST(Vector, TextElementsAreHandledAsObjects) {
  const long liveBefore = Text::live;
  {
    Vector<Text> v{"b", "a", "c", "a"};
    v.shrink_to_fit();
    v.Append(v);
    v.Append(2, v.data() + 1);
    v.AddSize(3, v[0]);
    v.SetValue(Text("z"), 1, 2);
    v.Replace(3, Text("q"));
    const Text src[] = {"m", "n"};
    v.Replace(4, 5, src);
    EXPECT_STREQ(v[1], "z");
    EXPECT_STREQ(v[3], "m");
    v.Erase(2, 3);
    v.Remove(Text("a"));
    v.Remove(v[0]);
    EXPECT_EQ(v.Exist(Text("b")), 0);
    v.Sort(true);
    for (std::size_t k = 1; k < v.size(); ++k) EXPECT_LT(std::strcmp(v[k - 1], v[k]), 0);
    v.SetZero(6);
    for (const Text& t : v) EXPECT_STREQ(t, "");
    v.Set(2, src);
    v.Compress(true, nullptr);
    EXPECT_EQ(v.size(), 1u);
    EXPECT_EQ(v.Compare(std::vector<Text>{"n"}), 0);
    v.SetMaxSize(0);
    EXPECT_EQ(Text::live - liveBefore, 2);  // only src[] is alive
  }
  EXPECT_EQ(Text::live, liveBefore);
  EXPECT_EQ(Text::corrupt, 0);
}

// --- persistence -----------------------------------------------------------

using Bytes = std::vector<unsigned char>;

std::string Message110(const std::string& path) {
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer, test::CatalogueText(110).c_str(), path.c_str());
  return buffer;
}

template <class T>
Bytes ImageOf(const std::vector<T>& v) {
  Bytes b(v.size() * sizeof(T));
  if (!v.empty()) std::memcpy(b.data(), static_cast<const void*>(v.data()), b.size());
  return b;
}

class VectorFile : public ::testing::Test {
protected:
  test::ScopedLanguage english_{LanguageEnglish};
  test::TempDir dir_;
  std::string path_ = dir_.File("vectors.bin");
};

TEST_F(VectorFile, BlocksAreAppendedAndDescribed) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Add(100);
  Vector<double> empty;
  DOCUMENT doc{5, 5};
  empty.Write(f, doc, 0, 0);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(f.GetLength(), 100);
  const Vector<double> three{1.5, -2.0, 1e300};
  DOCUMENT first;
  three.Write(f, first, 0, 1);
  EXPECT_EQ(first.position, 100);
  EXPECT_EQ(first.length, 28);
  DOCUMENT emptyBlock;
  empty.Write(f, emptyBlock, 1);
  EXPECT_EQ(emptyBlock.position, first.position + first.length);
  EXPECT_EQ(emptyBlock.length, 4);
  const Vector<CTypeValue<unsigned char, int>> pairs{{1, -1}, {2, 7}, {255, 0x01020304}};
  DOCUMENT pairBlock;
  pairs.Write(f, pairBlock, 0);
  EXPECT_EQ(pairBlock.length, 4 + 15);
  f.Close();

  const Bytes bytes = test::Bytes(path_);
  ASSERT_EQ(bytes.size(), 100u + 28 + 4 + 19);
  EXPECT_EQ(Bytes(bytes.begin() + 100, bytes.begin() + 104), (Bytes{3, 0, 0, 0}));
  EXPECT_EQ(Bytes(bytes.begin() + 104, bytes.begin() + 128), ImageOf(Std(three)));
  EXPECT_EQ(Bytes(bytes.begin() + 128, bytes.begin() + 132), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(Bytes(bytes.begin() + 132, bytes.end()),
            (Bytes{3, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 2, 7, 0, 0, 0, 255, 4, 3, 2, 1}));

  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  Vector<double> back{9.0};
  back.Read(f, first);
  EXPECT_EQ(Std(back), Std(three));
  back.Read(f, emptyBlock);
  EXPECT_TRUE(back.empty());
  back = three;
  back.Read(f, DOCUMENT{});  // the record of an empty vector clears
  EXPECT_TRUE(back.empty());
  EXPECT_EQ(back.capacity(), 0u);
  Vector<CTypeValue<unsigned char, int>> pairsBack;
  pairsBack.Read(f, pairBlock);
  EXPECT_EQ(pairsBack.Compare(pairs), 0);
  f.Close();

  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  const Vector<CPoint2D> points{{1, 2}, {-3, 4.5}};
  DOCUMENT pointBlock;
  points.Write(f, pointBlock, 0);
  EXPECT_EQ(pointBlock.length, 4 + 2 * 16);  // x then y, 16 bytes a point
  Vector<CPoint2D> pointsBack;
  pointsBack.Read(f, pointBlock);
  EXPECT_EQ(pointsBack.Compare(points), 0);
}

template <class T>
Vector<T> RandomVector(std::mt19937_64& rng, std::size_t maxSize) {
  Vector<T> v;
  const std::size_t n = rng() % (maxSize + 1);
  for (std::size_t k = 0; k < n; ++k) v.push_back(RandomValue<T>(rng, false));
  return v;
}

TEST_F(VectorFile, RandomBlocksRoundTripByteForByte) {
  std::mt19937_64 rng(17);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  std::vector<Vector<double>> doubles;
  std::vector<Vector<CTypeValue<unsigned short, double>>> pairs;
  std::vector<Vector<char>> chars;
  std::vector<DOCUMENT> docs;
  for (int k = 0; k < 90; ++k) {
    const std::size_t maxSize = k % 15 == 0 ? 5000 : 12;  // some span the file's cache
    docs.emplace_back();
    switch (k % 3) {
      case 0: doubles.push_back(RandomVector<double>(rng, maxSize)); doubles.back().Write(f, docs.back(), 1); break;
      case 1: pairs.push_back(RandomVector<CTypeValue<unsigned short, double>>(rng, maxSize)); pairs.back().Write(f, docs.back(), 1); break;
      default: chars.push_back(RandomVector<char>(rng, maxSize)); chars.back().Write(f, docs.back(), 1); break;
    }
  }
  for (std::size_t k = docs.size(); k-- > 0;) {
    const std::size_t i = k / 3;
    switch (k % 3) {
      case 0: { Vector<double> v{1.0}; v.Read(f, docs[k]); ASSERT_EQ(ImageOf(Std(v)), ImageOf(Std(doubles[i]))); break; }
      case 1: { Vector<CTypeValue<unsigned short, double>> v; v.Read(f, docs[k]); ASSERT_EQ(ImageOf(Std(v)), ImageOf(Std(pairs[i]))); break; }
      default: { Vector<char> v{'x'}; v.Read(f, docs[k]); ASSERT_EQ(Std(v), Std(chars[i])); break; }
    }
  }
}

TEST_F(VectorFile, PositionalFormsWriteInPlaceAndReadInSequence) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  const Vector<int> a{1, 2, 3}, b{-4};
  EXPECT_EQ(a.Write(f, -1), 0u);
  EXPECT_EQ(b.Write(f, -1), 16u);
  EXPECT_EQ((Vector<int>{7, 8, 9}.Write(f, 0)), 0u);  // over the first payload
  Vector<int> back;
  back.Read(f, 0);
  EXPECT_EQ(Std(back), (std::vector<int>{7, 8, 9}));
  back.Read(f, -1);  // continues where the first one ended
  EXPECT_EQ(Std(back), (std::vector<int>{-4}));
  back.Read(f, 16);
  EXPECT_EQ(Std(back), (std::vector<int>{-4}));
}

TEST_F(VectorFile, DamagedRecordsAndCountsLeaveTheVectorAsItWas) {
  // A count of 5 ints with only 16 bytes after it, the last 4 of them a
  // count of their own, far beyond the file.
  Bytes bytes{5, 0, 0, 0};
  bytes.resize(16, 0x11);
  bytes.insert(bytes.end(), {0xFF, 0xFF, 0xFF, 0xFF});
  test::PutBytes(path_, bytes);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  Vector<int> v{1, 2};
  EXPECT_EQ(test::ThrownText([&] { v.Read(f, 0); }), Message110(path_));
  EXPECT_EQ(test::ThrownText([&] { v.Read(f, DOCUMENT{16, 4}); }), Message110(path_));
  EXPECT_EQ(test::ThrownText([&] { v.Read(f, DOCUMENT{16, 8}); }), Message110(path_));  // outside the file
  EXPECT_EQ(test::ThrownText([&] { v.Read(f, DOCUMENT{-1, 4}); }), Message110(path_));
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2}));
  Vector<unsigned char> fits;
  fits.Read(f, 0);  // 5 bytes do fit
  EXPECT_EQ(fits.size(), 5u);
  f.Close();

  CPhrase sink;
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
  v.Read(f, DOCUMENT{0, 20});
  EXPECT_EQ(Std(v), (std::vector<int>{1, 2}));
  ASSERT_FALSE(sink.empty());
  EXPECT_EQ(std::string(sink.back().GetText()), Message110(path_));
  DOCUMENT doc{3, 3};
  Vector<int>{1}.Write(f, doc, 0);  // read-only file: refused into the sink
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
}

TEST_F(VectorFile, ElementsThatAreNotPlainBytesAreNeverReadAsImages) {
  const long liveBefore = Text::live;
  {
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
    const Vector<Text> texts{"alpha", "beta"};
    DOCUMENT doc;
    texts.Write(f, doc, 0);
    EXPECT_EQ(doc.length, static_cast<long long>(4 + 2 * sizeof(Text)));
    Vector<Text> back{"x"};
    back.Read(f, doc);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_STREQ(back[0], "");
    EXPECT_EQ(f.GetPosRead(), doc.position + doc.length);
  }
  EXPECT_EQ(Text::live, liveBefore);
  EXPECT_EQ(Text::corrupt, 0);
}

} // namespace
} // namespace zel
