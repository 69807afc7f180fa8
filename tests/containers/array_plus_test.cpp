#include "zeltools/containers/array_plus.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "containers/temp_file.h"
#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/files/block.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::IsOverrun;
using test::PutRaw;
using test::PutU32;
using test::ScopedLanguage;
using test::TempFile;
using test::ThrownText;

template <class T>
std::vector<T> Contents(const CArrayPlus<T>& a) {
  return std::vector<T>(a.begin(), a.end());
}

TEST(CArrayPlus, OneAtATimeGrowthGoesByFiveQuartersPlusThree) {
  CArrayPlus<int> a;
  std::vector<unsigned int> capacities;
  for (int k = 0; k < 30; ++k) {
    a.Append(k * 7);
    if (capacities.empty() || capacities.back() != a.GetMaxSize())
      capacities.push_back(a.GetMaxSize());
  }
  EXPECT_EQ(capacities, (std::vector<unsigned int>{1, 4, 8, 13, 19, 26, 35}));
  for (int k = 0; k < 30; ++k)
    ASSERT_EQ(a[k], k * 7);
  // Appending an element of the array itself while it moves.
  CArrayPlus<int> b;
  b.Append(5);
  for (int k = 0; k < 12; ++k)
    b.Append(b[0u]);
  EXPECT_EQ(Contents(b), std::vector<int>(13, 5));
}

TEST(CArrayPlus, AddSizeGrowsByTheStepAndZeroes) {
  CArrayPlus<double> a;
  a.AddSize(0);
  EXPECT_EQ(a.GetMaxSize(), 0u);
  EXPECT_EQ(static_cast<double*>(a), nullptr);
  a.AddSize(3);
  EXPECT_EQ(a.GetMaxSize(), 3u);
  EXPECT_EQ(Contents(a), (std::vector<double>{0, 0, 0}));
  a.Append(1);
  EXPECT_EQ(a.GetMaxSize(), 3u * 5 / 4 + 1 + 2);
  CArrayPlus<double> full;
  full.Reserve(4);
  full.SetSize(4);
  full.AddSize(1);
  EXPECT_EQ(full.GetMaxSize(), 8u);
  EXPECT_EQ(full.GetSize(), 5u);
  // Within the capacity the new elements are zeroed, whatever they held.
  CArrayPlus<int> c;
  for (int k = 1; k <= 6; ++k)
    c.Append(k);
  c.Free();
  c.AddSize(4);
  EXPECT_EQ(Contents(c), (std::vector<int>{0, 0, 0, 0}));
}

TEST(CArrayPlus, SetSizeWithinTheCapacityKeepsOldValues) {
  CArrayPlus<unsigned int> a;
  for (unsigned int k = 1; k <= 5; ++k)
    a.Append(k);
  a.SetSize(2);
  a.SetSize(5);
  EXPECT_EQ(Contents(a), (std::vector<unsigned int>{1, 2, 3, 4, 5}));
  a.resize(7); // still within the capacity of 8
  EXPECT_EQ(a.GetSize(), 7u);
  a.SetSize(20); // grows: AddSize(13) from a count of 7
  EXPECT_EQ(a.GetMaxSize(), 7u * 5 / 4 + 13 + 2);
  EXPECT_EQ(a[19], 0u);
}

TEST(CArrayPlus, ZeroFreeAndClearTouchWhatTheySay) {
  CArrayPlus<unsigned short> a;
  for (unsigned short k = 1; k <= 8; ++k)
    a.Append(k);
  a.SetSize(3);
  a.Zero();
  EXPECT_EQ(a.GetSize(), 3u);
  a.SetSize(8);
  EXPECT_EQ(Contents(a), std::vector<unsigned short>(8, 0)); // the whole capacity
  a.Free();
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetMaxSize(), 8u);
  EXPECT_NE(static_cast<unsigned short*>(a), nullptr);
  a.Clear();
  EXPECT_EQ(a.GetMaxSize(), 0u);
  EXPECT_EQ(static_cast<unsigned short*>(a), nullptr);
}

TEST(CArrayPlus, ReserveAllocatesExactlyOrZeroesTheRange) {
  CArrayPlus<int> a;
  a.Append(1);
  a.Append(2);
  a.Reserve(10);
  EXPECT_EQ(a.GetMaxSize(), 10u);
  EXPECT_EQ(Contents(a), (std::vector<int>{1, 2}));
  a.SetSize(6);
  std::fill(a.begin() + 2, a.end(), 9);
  a.SetSize(2);
  int* storage = a;
  a.reserve(5); // no reallocation: slots 2..4 are zeroed, slot 5 is not
  EXPECT_EQ(static_cast<int*>(a), storage);
  a.SetSize(6);
  EXPECT_EQ(Contents(a), (std::vector<int>{1, 2, 0, 0, 0, 9}));
}

TEST(CArrayPlus, SetAndInitReplaceTheContents) {
  CArrayPlus<long long> a;
  const long long src[4] = {4, -3, 2, -1};
  a.Set(4, src);
  EXPECT_EQ(a.GetMaxSize(), 4u);
  EXPECT_EQ(Contents(a), (std::vector<long long>{4, -3, 2, -1}));
  a.Set(3, a + 1); // from its own storage
  EXPECT_EQ(Contents(a), (std::vector<long long>{-3, 2, -1}));
  a.Set(2, nullptr);
  EXPECT_EQ(Contents(a), (std::vector<long long>{0, 0}));
  a.Set(6, nullptr);
  EXPECT_EQ(a.GetMaxSize(), 6u);
  EXPECT_EQ(Contents(a), std::vector<long long>(6, 0));
  a.Init(3, 77);
  EXPECT_EQ(a.GetMaxSize(), 6u);
  EXPECT_EQ(Contents(a), (std::vector<long long>{77, 77, 77}));
  a.Init(8, a[0u]); // the value lives in the storage that is replaced
  EXPECT_EQ(Contents(a), std::vector<long long>(8, 77));

  CArrayPlus<long long> copy(a);
  EXPECT_TRUE(copy == a);
  EXPECT_NE(static_cast<long long*>(copy), static_cast<long long*>(a));
  CArrayPlus<long long> assigned;
  assigned = a;
  assigned = assigned;
  EXPECT_EQ(Contents(assigned), Contents(a));
  CArrayPlus<long long> moved(std::move(assigned));
  EXPECT_EQ(assigned.GetSize(), 0u);
  EXPECT_EQ(Contents(moved), Contents(a));
}

TEST(CArrayPlus, ComparisonsOrderByCountThenFirstDifference) {
  auto make = [](std::vector<double> v) {
    CArrayPlus<double> a;
    a.Set(static_cast<unsigned int>(v.size()), v.data());
    return a;
  };
  EXPECT_TRUE(make({1, 9}) < make({2, 0, 0}));
  EXPECT_FALSE(make({2, 0, 0}) < make({1, 9}));
  EXPECT_TRUE(make({2, 0, 0}) > make({1, 9}));
  EXPECT_TRUE(make({1, 2, 3}) < make({1, 2, 4}));
  EXPECT_TRUE(make({1, 5, 0}) > make({1, 2, 4}));
  EXPECT_FALSE(make({1, 2}) < make({1, 2}));
  EXPECT_FALSE(make({1, 2}) > make({1, 2}));
  EXPECT_TRUE(make({1, 2}) == make({1, 2}));
  EXPECT_FALSE(make({1, 2}) == make({1, 2.0000001}));
  EXPECT_TRUE(make({0.0}) == make({-0.0}));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(make({nan}) == make({nan}));
  EXPECT_FALSE(make({nan, 1}) < make({nan, 2}));
  EXPECT_FALSE(make({nan, 1}) > make({nan, 0}));
  EXPECT_TRUE(CArrayPlus<int>() == CArrayPlus<int>());

  using Pair = CTypeValue<unsigned char, double>;
  CArrayPlus<Pair> p, q;
  p.Append(Pair(2, 0.0));
  q.Append(Pair(1, 1000.0));
  EXPECT_TRUE(p > q);
  EXPECT_TRUE(q < p);
  CArrayPlus<void*> x, y;
  int cells[2];
  x.Append(&cells[0]);
  y.Append(&cells[1]);
  EXPECT_TRUE(x < y);
}

// Random pairs sorted against std::sort and std::unique on the same order.
TEST(CArrayPlus, SortOfPairsMatchesTheStandardSortAndUnique) {
  using Pair = CTypeValue<unsigned short, double>;
  std::mt19937 rng(7);
  for (int round = 0; round < 50; ++round) {
    const unsigned int n = rng() % 60;
    std::vector<Pair> reference;
    CArrayPlus<Pair> a;
    for (unsigned int k = 0; k < n; ++k) {
      const Pair pair(static_cast<unsigned short>(rng() % 4), static_cast<double>(rng() % 5) * 0.5);
      reference.push_back(pair);
      a.Append(pair);
    }
    const bool unique = round % 2 == 0;
    a.Sort(unique);
    std::sort(reference.begin(), reference.end());
    if (unique)
      reference.erase(std::unique(reference.begin(), reference.end()), reference.end());
    ASSERT_EQ(a.GetSize(), reference.size());
    for (unsigned int k = 0; k < a.GetSize(); ++k)
      ASSERT_TRUE(a[k] == reference[k]) << "round " << round << " element " << k;
  }
}

TEST(CArrayPlus, SortWithNaNValuesStaysInsideAndKeepsThem) {
  using Pair = CTypeValue<unsigned char, double>;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  CArrayPlus<Pair> a;
  for (int k = 0; k < 40; ++k)
    a.Append(Pair(static_cast<unsigned char>(k % 3), k % 4 == 0 ? nan : 1.0));
  a.Sort(true);
  // Per type: the single 1.0, then every NaN (a NaN equals nothing).
  unsigned int nans = 0;
  for (unsigned int k = 0; k < a.GetSize(); ++k) {
    const double v = a[k].value;
    nans += std::isnan(v) ? 1u : 0u;
    if (k > 0)
      ASSERT_LE(a[k - 1].type, a[k].type);
  }
  EXPECT_EQ(nans, 10u);
  EXPECT_EQ(a.GetSize(), 13u);
}

TEST(CArrayPlus, MaxBuffersSetTheCapacityFromTheirBytes) {
  CArrayPlus<double> a;
  a.Append(1.0);
  a.SetMaxReserveBuffer(1000);
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetMaxSize(), 125u);
  double* storage = a;
  for (int k = 0; k < 125; ++k)
    a.Append(k);
  EXPECT_EQ(static_cast<double*>(a), storage);
  a.SetMaxReserveBuffer(0);
  EXPECT_EQ(a.GetMaxSize(), 0u);
  EXPECT_EQ(static_cast<double*>(a), nullptr);

  platform::ScopedCalls calls;
  platform::Calls().physicalMemory = [](std::uint64_t& total, std::uint64_t& available) {
    total = 1u << 20;
    available = 1u << 19;
    return true;
  };
  CArrayPlus<CTypeValue<unsigned short, double>> pairs;
  pairs.MaxReserve(0); // 25% of 1 MB, of which 98% counts
  EXPECT_EQ(pairs.GetMaxSize(), (1u << 18) * 98u / 100u / 10u);
  pairs.AddSize(3);
  EXPECT_TRUE(pairs[2] == (CTypeValue<unsigned short, double>()));
}

TEST(CArrayPlus, ExhaustionLeavesTheArrayAsItWas) {
  ScopedLanguage english(LanguageEnglish);
  CArrayPlus<int> a;
  for (int k = 0; k < 4; ++k)
    a.Append(k);
  {
    platform::ScopedCalls calls;
    platform::Calls().allocateZero = [](std::size_t) -> void* { return nullptr; };
    EXPECT_EQ(ThrownText([&] { a.Append(4); }),
              "Unable to allocate 32 bytes.\nMemory resource does not allow to continue the solution");
  }
  EXPECT_EQ(Contents(a), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(ThrownText([&] { a.Reserve(0xFFFFFFFFu); }), "Memory allocation request exceeds  4Gb.");
  EXPECT_EQ(a.GetMaxSize(), 4u);
}

TEST(CArrayPlus, GrowthNearTheTopOfThirtyTwoBitsAsksForWhatIsNeeded) {
  ScopedLanguage english(LanguageEnglish);
  EXPECT_EQ(internal::GrowthStep(8, 9, 2), 13u);
  EXPECT_EQ(internal::GrowthStep(0, 3, 0), 3u);
  // Five quarters of 4e9 do not fit 32 bits (a 32-bit product would wrap to
  // far less than needed): the step is exactly the need.
  EXPECT_EQ(internal::GrowthStep(4000000000u, 4000000001ull, 2), 4000000001u);
  EXPECT_EQ(ThrownText([] { internal::GrowthStep(0xFFFFFFFFu, 0x100000000ull, 2); }),
            "Memory allocation request exceeds  4Gb.");
  EXPECT_EQ(internal::PieceBytes(3, 10), 30u);
  EXPECT_EQ(internal::PieceBytes(0x90000000ull, 1), 0x90000000u);
  EXPECT_EQ(ThrownText([] { internal::PieceBytes(0x48000001ull, 2); }), "Memory allocation request exceeds  4Gb.");
  EXPECT_EQ(ThrownText([] { internal::PieceBytes(0x4000000000000001ull, 8); }),
            "Memory allocation request exceeds  4Gb.");
}

// Random edits against a model that keeps the whole capacity, so that the
// rule "elements within the capacity keep their values" is checked too.
TEST(CArrayPlus, RandomEditsMatchAModelOfTheCapacity) {
  std::mt19937 rng(99);
  CArrayPlus<int> a;
  std::vector<int> shadow; // what the capacity holds
  unsigned int count = 0;
  auto grow = [&](unsigned int capacity) {
    if (capacity > shadow.size())
      shadow.resize(capacity, 0);
  };
  for (int step = 0; step < 4000; ++step) {
    const int value = static_cast<int>(rng() % 1000);
    switch (rng() % 7) {
    case 0:
    case 1:
      a.Append(value);
      grow(a.GetMaxSize());
      shadow[count++] = value;
      break;
    case 2: {
      const unsigned int n = rng() % 9;
      a.AddSize(n);
      grow(a.GetMaxSize());
      std::fill(shadow.begin() + count, shadow.begin() + count + n, 0);
      count += n;
      break;
    }
    case 3: {
      const unsigned int n = rng() % (count + 10);
      const bool within = n <= a.GetMaxSize();
      a.SetSize(n);
      if (!within) { // a grown array keeps only the count's elements
        std::fill(shadow.begin() + count, shadow.end(), 0);
        grow(a.GetMaxSize());
      }
      count = n;
      break;
    }
    case 4:
      if (count != 0)
        a[rng() % count] = value;
      for (unsigned int k = 0; k < count; ++k)
        shadow[k] = a[k];
      break;
    case 5: {
      const unsigned int n = rng() % (count + 5);
      if (n > a.GetMaxSize()) {
        a.Reserve(n);
        std::fill(shadow.begin() + count, shadow.end(), 0);
        grow(a.GetMaxSize());
      } else {
        a.Reserve(n);
        if (n > count)
          std::fill(shadow.begin() + count, shadow.begin() + n, 0);
      }
      break;
    }
    default:
      if (rng() % 20 == 0) {
        a.Free();
        count = 0;
      }
      break;
    }
    ASSERT_EQ(a.GetSize(), count);
    ASSERT_EQ(a.GetMaxSize(), shadow.size());
    for (unsigned int k = 0; k < count; ++k)
      ASSERT_EQ(a[k], shadow[k]) << "step " << step;
  }
}

// --- VArrayPlus ------------------------------------------------------------

TEST(VArrayPlus, ReserveGivesExactlyNFirstThenFiveQuartersPlusFour) {
  VArrayPlus<double> v;
  v.SetSize(2);
  v.Reserve(0, 10);
  EXPECT_EQ(v[0]->GetMaxSize(), 10u);
  v.Reserve(0, 10);
  EXPECT_EQ(v[0]->GetMaxSize(), 10u);
  v.Set(0, 3, nullptr);
  double* before = *v[0];
  v[0]->storage[2] = 2.5;
  v.Reserve(0, 11);
  EXPECT_EQ(v[0]->GetMaxSize(), 17u);
  EXPECT_NE(v[0]->storage, before);
  EXPECT_EQ((*v[0])[2], 2.5);
  EXPECT_EQ(v[1]->GetMaxSize(), 0u);
  EXPECT_EQ(v[1]->storage, nullptr);
}

TEST(VArrayPlus, SetAppendAndGetFullSize) {
  VArrayPlus<unsigned short> v;
  v.SetSize(3);
  const unsigned short src[4] = {1, 2, 3, 4};
  v.Set(1, 4, src);
  EXPECT_EQ(v[1]->GetMaxSize(), 4u);
  v.Set(1, 2, v[1]->storage + 2); // from the row itself
  EXPECT_EQ(std::vector<unsigned short>(v[1]->begin(), v[1]->end()), (std::vector<unsigned short>{3, 4}));
  v.Set(1, 3, nullptr);
  EXPECT_EQ(std::vector<unsigned short>(v[1]->begin(), v[1]->end()), (std::vector<unsigned short>{0, 0, 0}));
  for (unsigned short k = 0; k < 10; ++k)
    v.Append(2, k);
  EXPECT_EQ(v[2]->GetSize(), 10u);
  EXPECT_EQ(v[2]->GetMaxSize(), 12u); // 1, 6, 12 (each n × 5 / 4 + 4 after the first)
  for (unsigned short k = 0; k < 10; ++k)
    ASSERT_EQ((*v[2])[k], k);
  EXPECT_EQ(v.GetFullSize(), 3u * 12 + (0 + 3 + 10) * 2);
  // Rows that come back into use are empty.
  v.SetSize(1);
  v.SetSize(3);
  EXPECT_EQ(v[2]->GetSize(), 0u);
  EXPECT_EQ(v[2]->storage, nullptr);
}

TEST(VArrayPlus, FreeKeepsOnePortionAndClearDropsAll) {
  VArrayPlus<unsigned int> v;
  v.SetSize(50);
  for (unsigned int r = 0; r < 50; ++r)
    for (unsigned int k = 0; k <= r; ++k)
      v.Append(r, k);
  EXPECT_GT(v.GetAllocator().GetPortionCount(), 1u);
  const unsigned int total = v.GetAllocator().GetTotal();
  v.Free();
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.GetAllocator().GetPortionCount(), 1u);
  EXPECT_EQ(v.GetAllocator().GetTotal(), total);
  v.SetSize(1);
  v.Append(0, 5);
  EXPECT_EQ((*v[0])[0], 5u);
  v.Clear();
  EXPECT_EQ(v.GetSize(), 0u);
  EXPECT_EQ(v.GetAllocator().GetPortionCount(), 0u);
}

VArrayPlus<float> RandomRows(std::mt19937& rng, unsigned int rows) {
  VArrayPlus<float> v;
  v.SetSize(rows);
  for (unsigned int r = 0; r < rows; ++r) {
    const unsigned int n = rng() % 3 == 0 ? 0 : rng() % 40;
    for (unsigned int k = 0; k < n; ++k)
      v.Append(r, static_cast<float>(rng() % 10000) / 7.0f);
  }
  return v;
}

void ExpectSameRows(const VArrayPlus<float>& a, const VArrayPlus<float>& b) {
  ASSERT_EQ(a.GetSize(), b.GetSize());
  for (unsigned int r = 0; r < a.GetSize(); ++r) {
    ASSERT_EQ(a[r]->GetSize(), b[r]->GetSize()) << "row " << r;
    if (a[r]->GetSize() != 0)
      ASSERT_EQ(std::memcmp(a[r]->storage, b[r]->storage, a[r]->GetSize() * sizeof(float)), 0) << "row " << r;
  }
}

TEST(VArrayPlus, CopyPacksTheRowsIntoOnePortion) {
  std::mt19937 rng(5);
  VArrayPlus<float> v = RandomRows(rng, 200);
  VArrayPlus<float> copy(v);
  ExpectSameRows(copy, v);
  EXPECT_EQ(copy.GetAllocator().GetPortionCount(), 1u);
  VArrayPlus<float> assigned;
  assigned.SetSize(3);
  assigned = v;
  ExpectSameRows(assigned, v);
  assigned = assigned;
  ExpectSameRows(assigned, v);
}

TEST(VArrayPlus, PayloadBytesAreTheRowCountThenEachRowsCountAndElements) {
  TempFile t;
  t.Append({0xAA, 0xBB});
  VArrayPlus<double> v;
  v.SetSize(2);
  v.Append(0, 1.5);
  DOCUMENT doc;
  v.Write(t.file, doc, 0);
  EXPECT_EQ(doc.position, 2);
  EXPECT_EQ(doc.length, 20);
  std::vector<unsigned char> expected;
  PutU32(expected, 2);
  PutU32(expected, 1);
  PutRaw(expected, 1.5);
  PutU32(expected, 0);
  EXPECT_EQ(t.Bytes(2, 20), expected);

  VArrayPlus<double> empty;
  empty.Write(t.file, doc, 0);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(t.file.GetLength(), 22);
  empty.Write(t.file, doc, 1);
  EXPECT_EQ(doc.position, 22);
  EXPECT_EQ(doc.length, 4);

  // The positioned form writes the row count where asked and the rows at
  // the end of the file.
  EXPECT_EQ(v.Write(t.file, 0), 0);
  EXPECT_EQ(t.file.GetLength(), 26 + 16);
  std::vector<unsigned char> rows(expected.begin() + 4, expected.end());
  EXPECT_EQ(t.Bytes(26, 16), rows);
  EXPECT_EQ(t.Bytes(0, 4), (std::vector<unsigned char>{2, 0, 0, 0}));
}

TEST(VArrayPlus, RandomRowsSurviveWriteAndRead) {
  std::mt19937 rng(11);
  TempFile t;
  for (int round = 0; round < 20; ++round) {
    VArrayPlus<float> v = RandomRows(rng, rng() % 300);
    DOCUMENT doc;
    v.Write(t.file, doc, 1);
    VArrayPlus<float> back = RandomRows(rng, rng() % 50); // reading replaces what was there
    ASSERT_EQ(back.Read(t.file, doc), 1);
    ExpectSameRows(back, v);
    EXPECT_EQ(t.file.GetPosRead(), doc.position + doc.length);
    VArrayPlus<float> again;
    ASSERT_EQ(again.Read(t.file, doc.position), 1);
    ExpectSameRows(again, v);
  }
  VArrayPlus<float> cleared = RandomRows(rng, 5);
  EXPECT_EQ(cleared.Read(t.file, DOCUMENT{}), 1);
  EXPECT_EQ(cleared.GetSize(), 0u);
}

// Every truncation of a valid payload, and random bytes, are reported by the
// file (110) and leave the array empty; nothing crashes or runs away.
TEST(VArrayPlus, DamagedPayloadsAreReportedAndLeaveTheArrayEmpty) {
  ScopedLanguage english(LanguageEnglish);
  std::mt19937 rng(3);
  VArrayPlus<unsigned int> source;
  source.SetSize(4);
  for (unsigned int r = 0; r < 4; ++r)
    for (unsigned int k = 0; k < r * 3; ++k)
      source.Append(r, k + 100 * r);
  TempFile whole;
  DOCUMENT doc;
  source.Write(whole.file, doc, 1);
  const std::vector<unsigned char> bytes = whole.Bytes(doc.position, doc.length);
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    TempFile t;
    t.Append(std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<long>(cut)));
    VArrayPlus<unsigned int> v;
    v.SetSize(2);
    v.Append(1, 9);
    const std::string text = ThrownText([&] { v.Read(t.file, 0); });
    EXPECT_TRUE(IsOverrun(text)) << "cut at " << cut << ": " << text;
    EXPECT_EQ(v.GetSize(), 0u);
  }
  for (int round = 0; round < 300; ++round) {
    std::vector<unsigned char> noise(rng() % 64);
    for (auto& b : noise)
      b = static_cast<unsigned char>(rng() % 4 == 0 ? rng() : rng() % 3);
    TempFile t;
    t.Append(noise);
    VArrayPlus<unsigned int> v;
    try {
      if (v.Read(t.file, 0) == 1) {
        // Whatever was accepted fits the bytes that were there.
        EXPECT_LE(v.GetFullSize() - 8ull * v.GetSize() + 4, noise.size());
      }
    } catch (const Exception& e) {
      EXPECT_TRUE(IsOverrun(e.GetDescription())) << e.GetDescription();
      EXPECT_EQ(v.GetSize(), 0u);
    }
  }
}

} // namespace
} // namespace zel
