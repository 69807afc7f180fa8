#include "zeltools/containers/array_plus.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/files/file_base.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::ThrownText;

// Random edits against a model of the whole capacity, whose growth the model
// figures itself: elements within the capacity keep their values, new ones
// are zero, and every capacity is the one the growth rules give.
TEST(CArrayPlus, RandomEditsMatchAModelOfTheCapacityAndItsGrowth) {
  std::mt19937 rng(99);
  CArrayPlus<int> a;
  std::vector<int> cap; // what the capacity holds
  unsigned int count = 0;
  auto regrow = [&](unsigned int capacity) { // a new storage keeps the count's elements only
    cap.resize(count);
    cap.resize(capacity, 0);
  };
  for (int step = 0; step < 6000; ++step) {
    const int value = static_cast<int>(rng() % 1000);
    const unsigned int n = rng() % (count + 10);
    switch (rng() % 9) {
    case 0:
    case 1: { // an element of the array itself may be appended while it moves
      const int& appended = count != 0 && rng() % 2 == 0 ? a[rng() % count] : value;
      const int expected = appended;
      a.Append(appended);
      if (count == cap.size())
        regrow(count == 0 ? 1 : count * 5 / 4 + 3);
      cap[count++] = expected;
      break;
    }
    case 2:
      a.AddSize(n % 9);
      if (count + n % 9 > cap.size())
        regrow(count * 5 / 4 + n % 9 + (count != 0 ? 2 : 0));
      std::fill(cap.begin() + count, cap.begin() + count + n % 9, 0);
      count += n % 9;
      break;
    case 3:
      a.SetSize(n);
      if (n > cap.size())
        regrow(count * 5 / 4 + (n - count) + (count != 0 ? 2 : 0));
      count = n;
      break;
    case 4:
      if (count != 0)
        a[rng() % count] = value;
      std::copy(a.begin(), a.end(), cap.begin());
      break;
    case 5:
      a.Reserve(n);
      if (n > cap.size())
        regrow(n);
      else if (n > count)
        std::fill(cap.begin() + count, cap.begin() + n, 0);
      break;
    case 6: { // from outside, from its own storage, zeros, or one value (maybe its own)
      const std::vector<int> outside(n, value);
      const int* from = rng() % 3 == 0 ? nullptr : outside.data();
      if (from != nullptr && n <= count && rng() % 2 == 0)
        from = a + rng() % (count - n + 1);
      std::vector<int> expected = from != nullptr ? std::vector<int>(from, from + n) : std::vector<int>(n, 0);
      if (from == nullptr && rng() % 2 == 0) {
        const int& fill = count != 0 ? a[0u] : value;
        expected.assign(n, fill);
        a.Init(n, fill);
      } else {
        a.Set(n, from);
      }
      if (n > cap.size())
        cap.assign(n, 0);
      std::copy(expected.begin(), expected.end(), cap.begin());
      count = n;
      break;
    }
    case 7:
      a.Zero();
      std::fill(cap.begin(), cap.end(), 0);
      break;
    default:
      if (rng() % 3 == 0) {
        a.Clear();
        cap.clear();
      }
      a.Free();
      count = 0;
    }
    ASSERT_EQ(a.GetSize(), count);
    ASSERT_EQ(a.GetMaxSize(), cap.size()) << "step " << step;
    ASSERT_TRUE(std::equal(a.begin(), a.begin() + a.GetMaxSize(), cap.begin())) << "step " << step;
  }
  CArrayPlus<int> copy(a), moved(std::move(copy));
  EXPECT_TRUE(moved == a && copy.GetSize() == 0);
}

TEST(CArrayPlus, ComparisonsOrderByCountThenTheFirstDifferenceExactly) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    std::vector<double> x, y;
    bool less, greater, equal;
  };
  const Case cases[] = {
      {{1, 9}, {2, 0, 0}, true, false, false},     {{1, 2, 3}, {1, 2, 4}, true, false, false},
      {{1, 5, 0}, {1, 2, 4}, false, true, false},  {{1, 2}, {1, 2}, false, false, true},
      {{1, 2}, {1, 2.0000001}, true, false, false}, {{0.0}, {-0.0}, false, false, true},
      {{nan, 1}, {nan, 2}, false, false, false},   {{}, {}, false, false, true},
  };
  for (const Case& c : cases) {
    CArrayPlus<double> x, y;
    x.Set(static_cast<unsigned int>(c.x.size()), c.x.data());
    y.Set(static_cast<unsigned int>(c.y.size()), c.y.data());
    EXPECT_EQ((std::vector<bool>{x < y, x > y, x == y}), (std::vector<bool>{c.less, c.greater, c.equal}))
        << "case " << &c - cases;
  }
}

// Random pairs, some with NaN values, against std::sort and std::unique on
// the documented order (NaN values last within their type, never merged).
TEST(CArrayPlus, SortOfPairsMatchesTheStandardSortAndUnique) {
  using Pair = CTypeValue<unsigned short, double>;
  auto order = [](const Pair& p, const Pair& q) {
    const double u = p.value, v = q.value;
    return p.type != q.type ? p.type < q.type : std::isnan(u) != std::isnan(v) ? std::isnan(v) : u < v;
  };
  std::mt19937 rng(7);
  for (int round = 0; round < 60; ++round) {
    std::vector<Pair> reference(rng() % 60);
    for (Pair& p : reference)
      p = Pair(static_cast<unsigned short>(rng() % 4), rng() % 8 == 0 ? std::nan("") : static_cast<double>(rng() % 5) / 2);
    CArrayPlus<Pair> a;
    a.Set(static_cast<unsigned int>(reference.size()), reference.data());
    a.Sort(round % 2 == 0);
    std::sort(reference.begin(), reference.end(), order);
    if (round % 2 == 0)
      reference.erase(std::unique(reference.begin(), reference.end()), reference.end());
    ASSERT_EQ(a.GetSize(), reference.size());
    for (unsigned int k = 0; k < a.GetSize(); ++k)
      ASSERT_TRUE(!order(a[k], reference[k]) && !order(reference[k], a[k])) << "round " << round << " element " << k;
  }
}

// The buffer's size is the memory layer's to choose (tested there).
TEST(CArrayPlus, MaxBuffersSetTheCapacityFromTheirBytes) {
  CArrayPlus<CTypeValue<unsigned short, double>> a;
  a.Append({1, 2.0});
  a.SetMaxReserveBuffer(1005);
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetMaxSize(), 100u);
}

TEST(CArrayPlus, ExhaustionAndRequestsBeyondThirtyTwoBitsLeaveTheArrayAsItWas) {
  const std::string TooLarge = test::Message(202);
  CArrayPlus<int> a;
  a.Init(4, 3);
  {
    platform::ScopedCalls calls;
    platform::Calls().allocateZero = [](std::size_t) -> void* { return nullptr; };
    EXPECT_EQ(ThrownText([&] { a.Append(4); }), test::Message(201, 32L));
  }
  EXPECT_EQ(ThrownText([&] { a.Reserve(0xFFFFFFFFu); }), TooLarge);
  EXPECT_EQ(a.GetMaxSize(), 4u);
  EXPECT_EQ(std::vector<int>(a.begin(), a.end()), std::vector<int>(4, 3));
  // Near 2^32 the step is exactly the need (a 32-bit product would wrap to
  // far less), and one element more is refused.
  EXPECT_EQ(internal::GrowthStep(4000000000u, 4000000001u, 2), 4000000001u);
  EXPECT_EQ(ThrownText([] { internal::GrowthStep(0xFFFFFFFFu, 0x100000000u, 2); }), TooLarge);
  EXPECT_EQ(internal::PieceBytes(0x90000000u, 1), 0x90000000u);
  EXPECT_EQ(ThrownText([] { internal::PieceBytes(0x48000001u, 2); }), TooLarge);
  EXPECT_EQ(ThrownText([] { internal::PieceBytes(0x4000000000000001u, 8); }), TooLarge);
}

using VArrayPlusFile = test::FileTest;

// --- VArrayPlus ------------------------------------------------------------

using Rows = std::vector<std::vector<float>>;

void ExpectRows(const VArrayPlus<float>& v, const Rows& model) {
  ASSERT_EQ(v.GetSize(), model.size());
  for (unsigned int r = 0; r < v.GetSize(); ++r)
    ASSERT_EQ(std::vector<float>(v[r]->begin(), v[r]->end()), model[r]) << "row " << r;
}

// Random row edits against a model of rows and their capacities, then a copy
// and a Write/Read round trip of the result.
TEST_F(VArrayPlusFile, RandomRowEditsMatchAModelThroughCopyWriteAndRead) {
  std::mt19937 rng(5);
  CFileBase file;
  ASSERT_EQ(file.Open(path_.c_str(), "wr"), 1);
  for (int round = 0; round < 10; ++round) {
    VArrayPlus<float> v;
    Rows model;
    std::vector<unsigned int> capacity;
    for (int step = 0; step < 600; ++step) {
      const unsigned int size = static_cast<unsigned int>(model.size());
      const unsigned int r = size == 0 ? 0 : rng() % size, n = rng() % 20;
      const float value = static_cast<float>(rng() % 10000) / 7.0f;
      if (rng() % 200 == 0) { // every row goes; the allocator keeps one portion for reuse
        v.Free();
        ASSERT_EQ(v.GetAllocator().GetPortionCount(), 1u);
        model.clear();
        capacity.clear();
      } else if (size == 0 || rng() % 12 == 0) {
        v.SetSize(rng() % (size + 8)); // rows that come back into use are empty
        model.resize(v.GetSize());
        capacity.resize(v.GetSize(), 0);
      } else if (rng() % 3 != 0) {
        v.Append(r, value);
        const auto need = static_cast<unsigned int>(model[r].size() + 1);
        if (need > capacity[r])
          capacity[r] = capacity[r] == 0 ? need : need * 5 / 4 + 4;
        model[r].push_back(value);
      } else { // from outside, from the row itself, or zeros
        std::vector<float> source(n, value);
        const float* from = rng() % 4 == 0 ? nullptr : source.data();
        if (from != nullptr && n <= model[r].size() && rng() % 2 == 0)
          from = v[r]->storage + (model[r].size() - n);
        std::vector<float> expected = from != nullptr ? std::vector<float>(from, from + n) : std::vector<float>(n, 0.0f);
        v.Set(r, n, from);
        capacity[r] = std::max(capacity[r], n);
        model[r] = expected;
      }
      if (!model.empty())
        ASSERT_EQ(v[r]->GetMaxSize(), capacity[r]) << "step " << step;
    }
    ExpectRows(v, model);
    unsigned long long full = 0;
    for (const auto& row : model)
      full += 12 + 4 * row.size();
    EXPECT_EQ(v.GetFullSize(), full);
    VArrayPlus<float> copy(v);
    ExpectRows(copy, model);
    EXPECT_LE(copy.GetAllocator().GetPortionCount(), 1u);
    DOCUMENT doc;
    v.Write(file, doc, 1);
    copy.SetSize(3); // reading replaces what was there
    ASSERT_EQ(copy.Read(file, doc), 1);
    ExpectRows(copy, model);
    EXPECT_EQ(file.GetPosRead(), doc.position + doc.length);
  }
  VArrayPlus<float> cleared;
  cleared.SetSize(5);
  EXPECT_EQ(cleared.Read(file, DOCUMENT{}), 1);
  EXPECT_EQ(cleared.GetSize(), 0u);
}

// Any plain element type is stored, the packed 9-byte pairs included.
template <class T>
void ExpectRoundTrip(CFileBase& file, const std::vector<T>& values) {
  VArrayPlus<T> v, back;
  v.SetSize(3);
  for (std::size_t k = 0; k < values.size(); ++k)
    v.Append(static_cast<unsigned int>(k % 3 == 1 ? 2 : 0), values[k]);
  DOCUMENT doc;
  v.Write(file, doc, 0);
  ASSERT_EQ(back.Read(file, doc), 1);
  ASSERT_EQ(back.GetSize(), 3u);
  for (unsigned int r = 0; r < 3; ++r)
    EXPECT_TRUE(std::equal(back[r]->begin(), back[r]->end(), v[r]->begin(), v[r]->end())) << "row " << r;
}

TEST(VArrayPlus, EveryPlainElementTypeRoundTrips) {
  test::TempDir dir;
  CFileBase file;
  ASSERT_EQ(file.Open(dir.File("rows").c_str(), "wr"), 1);
  ExpectRoundTrip<int>(file, {-1, 7, 1 << 30, 5});
  ExpectRoundTrip<char>(file, {'a', 'b', 'c'});
  ExpectRoundTrip<long long>(file, {-(1LL << 40), 3});
  ExpectRoundTrip<CTypeValue<unsigned char, double>>(file, {{1, 2.5}, {9, -0.25}, {4, 1e300}});
}

TEST_F(VArrayPlusFile, PayloadBytesAreTheRowCountThenEachRowsCountAndElements) {
  test::PutBytes(path_, {0xAA, 0xBB});
  CFileBase file;
  ASSERT_EQ(file.Open(path_.c_str(), "wa"), 1);
  VArrayPlus<double> v, empty;
  v.SetSize(2);
  v.Append(0, 1.5);
  DOCUMENT doc, none, four;
  v.Write(file, doc, 0);
  empty.Write(file, none, 0); // nothing written
  empty.Write(file, four, 1);
  EXPECT_EQ(v.Write(file, 22), 22); // the row count where asked, the rows at the end
  file.Close();
  EXPECT_EQ((std::vector<long long>{doc.position, doc.length, none.position, none.length, four.position, four.length}),
            (std::vector<long long>{2, 20, 0, 0, 22, 4}));
  const std::vector<unsigned char> rows = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F, 0, 0, 0, 0}; // {1.5}, {}
  std::vector<unsigned char> expected = {0xAA, 0xBB, 2, 0, 0, 0};
  expected.insert(expected.end(), rows.begin(), rows.end());
  expected.insert(expected.end(), {2, 0, 0, 0});
  expected.insert(expected.end(), rows.begin(), rows.end());
  EXPECT_EQ(test::Bytes(path_), expected);
}

// A damaged payload leaves the array empty; whatever is accepted fits the
// bytes that were there.
TEST_F(VArrayPlusFile, DamagedPayloadsAreReportedAndLeaveNothingBehind) {
  test::ExpectEveryDamageReported(
      path_,
      [](CFileBase& f, DOCUMENT& doc) {
        VArrayPlus<unsigned int> v; // {}, {7}, {8, 9}
        v.SetSize(3);
        v.Append(1, 7);
        v.Append(2, 8);
        v.Append(2, 9);
        v.Write(f, doc, 1);
      },
      [](CFileBase& f, DOCUMENT doc) {
        VArrayPlus<unsigned int> v;
        v.SetSize(2);
        v.Append(1, 9);
        const bool accepted = v.Read(f, doc) == 1;
        EXPECT_TRUE(accepted ? v.GetFullSize() - 8ull * v.GetSize() + 4 <= static_cast<unsigned long long>(doc.length)
                             : v.GetSize() == 0);
        return accepted;
      });
}

} // namespace
} // namespace zel
