#include "zeltools/containers/vector_array.h"

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "containers/temp_file.h"
#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::IsOverrun;
using test::PutRaw;
using test::PutU32;
using test::ScopedLanguage;
using test::TempFile;
using test::ThrownText;

using UIntArray = VectorArray<unsigned int, unsigned int>;
using HeadArray = VectorHeadArray<unsigned int, unsigned int, unsigned int>;

std::vector<unsigned int> List(const UIntArray& a, unsigned int i) {
  const unsigned int* p = a.GetElemPoint(i);
  return p == nullptr ? std::vector<unsigned int>() : std::vector<unsigned int>(p, p + a.GetElemSize(i));
}

TEST(VectorArray, ChangesSetBothMarksAndIdenticalContentsLeaveThemAlone) {
  UIntArray a;
  EXPECT_EQ(a.GetModify(), 0);
  const unsigned int src[3] = {4, 5, 6};
  EXPECT_EQ(a.Append(3, src), 0u);
  EXPECT_EQ(a.GetSize(), 1u);
  EXPECT_EQ(a.GetModify(), 0x11);
  EXPECT_EQ(a.GetModifyLast(), 0x10);
  a.ClearModifyLast();
  EXPECT_EQ(a.GetModify(), 0x01);
  a.Replace(0, 3, src); // identical contents
  EXPECT_EQ(a.GetModify(), 0x01);
  a.Replace(0, 3, nullptr); // same count, nothing to compare
  EXPECT_EQ(a.GetModify(), 0x01);
  a.SetSize(1);
  EXPECT_EQ(a.GetModify(), 0x01);
  const unsigned int other[3] = {4, 5, 7};
  a.Replace(0, 3, other);
  EXPECT_EQ(a.GetModify(), 0x11);
  a.ClearModify();
  a.Replace(0, 2, other); // a shorter list is a change
  EXPECT_EQ(a.GetModify(), 0x11);
  a.ClearModify();
  a.SetSize(4);
  EXPECT_EQ(a.GetModify(), 0x11);
  a.ClearModify();
  a.SetModify(0x22);
  EXPECT_EQ(a.GetModify(), 0x22);
  EXPECT_EQ(a.GetModifyLast(), 0x20);
}

TEST(VectorArray, ReplaceOutOfRangeIsFatalAndChangesNothing) {
  UIntArray a;
  for (int k = 0; k < 5; ++k)
    a.Append(0, nullptr);
  a.ClearModify();
  const unsigned int v = 1;
  EXPECT_EQ(ThrownText([&] { a.Replace(5, 1, &v); }), "Error in VectorArray");
  EXPECT_EQ(a.GetSize(), 5u);
  EXPECT_EQ(a.GetModify(), 0);
  HeadArray h;
  EXPECT_EQ(ThrownText([&] { h.Replace(0, 1, 1, &v); }), "Error in VectorHeadArray");
}

TEST(VectorArray, ReplaceReusesStorageUpToTheCountAndTakesANewPieceBeyond) {
  UIntArray a;
  const unsigned int four[4] = {1, 2, 3, 4};
  a.Append(4, four);
  unsigned int* first = a.GetElemPoint(0);
  const unsigned int two[2] = {8, 9};
  a.Replace(0, 2, two);
  EXPECT_EQ(a.GetElemPoint(0), first);
  EXPECT_EQ(List(a, 0), (std::vector<unsigned int>{8, 9}));
  // Up to the count only: the list's count is now 2, so 3 needs a new piece
  // even though the old piece had room for 4.
  a.Replace(0, 3, nullptr);
  unsigned int* second = a.GetElemPoint(0);
  EXPECT_NE(second, first);
  EXPECT_EQ(List(a, 0), (std::vector<unsigned int>{0, 0, 0}));
  second[0] = 5;
  second[1] = 6;
  second[2] = 7;
  a.Replace(0, 2, second + 1); // from the list itself, overlapping
  EXPECT_EQ(List(a, 0), (std::vector<unsigned int>{6, 7}));
  a.Replace(0, 2, nullptr); // left as the storage holds it
  EXPECT_EQ(List(a, 0), (std::vector<unsigned int>{6, 7}));
  const unsigned int* old = a.GetElemPoint(0); // the piece of 3 taken above
  a.Replace(0, 3, old); // grows from its own old piece, which stays valid
  EXPECT_NE(a.GetElemPoint(0), old);
  EXPECT_EQ(List(a, 0), (std::vector<unsigned int>{6, 7, 7}));
}

TEST(VectorArray, OutOfRangeReadsAreNotErrors) {
  UIntArray a;
  a.Append(0, nullptr);
  EXPECT_EQ(a.GetElemSize(a.GetSize()), 0u);
  EXPECT_EQ(a.GetElemPoint(a.GetSize()), nullptr);
  EXPECT_EQ(a.GetElemPoint(0), nullptr); // a list never filled
  HeadArray h;
  h.Append(3, 0, nullptr);
  EXPECT_EQ(h.GetElemHead(0), 3u);
  unsigned int& spare = h.GetElemHead(1);
  EXPECT_NE(&spare, &h.GetElemHead(0));
  spare = 42;
  HeadArray other;
  EXPECT_EQ(other.GetElemHead(7), 42u); // one spare for all arrays of the type
  EXPECT_EQ(&other.GetElemHead(7), &spare);
  EXPECT_EQ(h.GetModify(), 0x11);
}

TEST(VectorHeadArray, AHeadChangeIsAChange) {
  HeadArray h;
  const unsigned int v[2] = {1, 2};
  h.Append(10, 2, v);
  h.ClearModify();
  h.Replace(0, 10, 2, v);
  EXPECT_EQ(h.GetModify(), 0);
  h.Replace(0, 11, 2, v);
  EXPECT_EQ(h.GetModify(), 0x11);
  EXPECT_EQ(h.GetElemHead(0), 11u);
  EXPECT_EQ(h[0]->count, 2u);
}

TEST(VectorArray, PayloadBytesAndTheMarksAfterWriting) {
  TempFile t;
  UIntArray empty;
  DOCUMENT doc;
  empty.Write(t.file, doc);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 4);
  EXPECT_EQ(t.Bytes(0, 4), (std::vector<unsigned char>{0, 0, 0, 0}));

  UIntArray a;
  const unsigned int seven = 7;
  a.Append(1, &seven);
  a.Append(0, nullptr);
  ASSERT_EQ(a.GetModify(), 0x11);
  a.Write(t.file, doc);
  EXPECT_EQ(doc.position, 4);
  EXPECT_EQ(doc.length, 20);
  std::vector<unsigned char> expected;
  for (unsigned int v : {2u, 1u, 1u, 7u, 0u})
    PutU32(expected, v);
  EXPECT_EQ(t.Bytes(4, 20), expected);
  EXPECT_EQ(a.GetModify(), 0);

  HeadArray h;
  h.Append(9, 1, &seven);
  h.Append(0xA0B0C0D0u, 0, nullptr);
  h.Write(t.file, doc);
  EXPECT_EQ(doc.position, 24);
  EXPECT_EQ(doc.length, 4 + 4 + (4 + 4 + 4) + (4 + 4));
  expected.clear();
  for (unsigned int v : {2u, 1u, 9u, 1u, 7u, 0xA0B0C0D0u, 0u})
    PutU32(expected, v);
  EXPECT_EQ(t.Bytes(24, doc.length), expected);
  EXPECT_EQ(h.GetModify(), 0x11); // head arrays keep their marks

  // Pairs are written packed: 5 bytes each.
  VectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int> pairs;
  const CTypeValue<unsigned char, unsigned int> pv[2] = {{1, 0x01020304u}, {2, 5}};
  pairs.Append(2, pv);
  pairs.Write(t.file, doc);
  EXPECT_EQ(doc.length, 4 + 4 + 4 + 10);
  expected.clear();
  PutU32(expected, 1);
  PutU32(expected, 2);
  PutU32(expected, 2);
  PutRaw(expected, pv[0]);
  PutRaw(expected, pv[1]);
  EXPECT_EQ(t.Bytes(doc.position, doc.length), expected);
  EXPECT_EQ(expected[12], 1);
  EXPECT_EQ(expected[13], 4); // the value starts at byte 1 of the record
}

// Random lists of every element type survive Write/Read and Compress.
template <class T>
T RandomValue(std::mt19937& rng) {
  if constexpr (std::is_same<T, CTypeValue<unsigned char, unsigned int>>::value)
    return T(static_cast<unsigned char>(rng()), static_cast<unsigned int>(rng()));
  else if constexpr (std::is_same<T, CTypeValue<unsigned short, double>>::value)
    return T(static_cast<unsigned short>(rng()), static_cast<double>(rng()) / 3.0);
  else if constexpr (std::is_floating_point<T>::value)
    return static_cast<T>(rng()) / 7;
  else
    return static_cast<T>(rng());
}

template <class T>
class ListsOf : public ::testing::Test {};
using ElementTypes = ::testing::Types<char, unsigned char, unsigned int, double, CTypeValue<unsigned char, unsigned int>,
                                      CTypeValue<unsigned short, double>>;
TYPED_TEST_SUITE(ListsOf, ElementTypes);

template <class T>
using Model = std::vector<std::vector<T>>;

template <class T>
void ExpectEqual(const VectorArray<T, unsigned int>& a, const Model<T>& model) {
  ASSERT_EQ(a.GetSize(), model.size());
  for (unsigned int i = 0; i < a.GetSize(); ++i) {
    ASSERT_EQ(a.GetElemSize(i), model[i].size()) << "list " << i;
    if (!model[i].empty())
      ASSERT_EQ(std::memcmp(a.GetElemPoint(i), model[i].data(), model[i].size() * sizeof(T)), 0) << "list " << i;
  }
}

TYPED_TEST(ListsOf, RandomEditsMatchAModelThroughWriteReadAndCompress) {
  using T = TypeParam;
  std::mt19937 rng(17);
  TempFile t;
  for (int round = 0; round < 8; ++round) {
    VectorArray<T, unsigned int> a;
    Model<T> model;
    for (int step = 0; step < 400; ++step) {
      const unsigned int n = rng() % 5 == 0 ? 0 : rng() % 12;
      std::vector<T> values(n);
      for (auto& v : values)
        v = RandomValue<T>(rng);
      const unsigned int op = rng() % 10;
      if (op < 5 || model.empty()) {
        EXPECT_EQ(a.Append(n, values.data()), model.size());
        model.push_back(values);
      } else if (op < 8) {
        const unsigned int i = rng() % static_cast<unsigned int>(model.size());
        a.Replace(i, n, values.data());
        model[i] = values;
      } else if (op == 8) {
        const unsigned int size = rng() % static_cast<unsigned int>(model.size() + 3);
        a.SetSize(size);
        model.resize(size);
      } else {
        a.Compress();
      }
    }
    ExpectEqual(a, model);

    DOCUMENT doc;
    a.Write(t.file, doc);
    VectorArray<T, unsigned int> back;
    const T filler = RandomValue<T>(rng);
    back.Append(1, &filler); // something for the read to replace
    ASSERT_EQ(back.Read(t.file, doc), 1);
    ExpectEqual(back, model);
    EXPECT_EQ(back.GetModify(), 0);
    EXPECT_LE(back.GetAllocator().GetPortionCount(), 1u);

    // Make sure there is something to repack (one portion is left alone).
    std::vector<T> big(5000, RandomValue<T>(rng));
    a.Append(static_cast<unsigned int>(big.size()), big.data());
    model.push_back(big);
    ASSERT_GT(a.GetAllocator().GetPortionCount(), 1u);
    a.Compress();
    ExpectEqual(a, model);
    EXPECT_EQ(a.GetAllocator().GetPortionCount(), 1u);
    // Contiguous in list order.
    const T* next = nullptr;
    for (unsigned int i = 0; i < a.GetSize(); ++i) {
      if (a.GetElemSize(i) == 0)
        continue;
      if (next != nullptr)
        ASSERT_EQ(a.GetElemPoint(i), next) << "list " << i;
      next = a.GetElemPoint(i) + a.GetElemSize(i);
    }

    VectorArray<T, unsigned int> copy(a);
    ExpectEqual(copy, model);
    if (!model.empty() && a.GetElemSize(0) != 0)
      EXPECT_NE(copy.GetElemPoint(0), a.GetElemPoint(0));
    copy.Append(copy); // onto itself
    Model<T> doubled = model;
    doubled.insert(doubled.end(), model.begin(), model.end());
    ExpectEqual(copy, doubled);
  }
}

TEST(VectorArray, CompressKeepsContentsAndMarks) {
  UIntArray a;
  for (unsigned int k = 0; k < 200; ++k) {
    std::vector<unsigned int> v(k % 17, k);
    a.Append(static_cast<unsigned int>(v.size()), v.data());
  }
  a.SetSize(150); // the dropped lists are not carried over
  a.ClearModifyLast();
  ASSERT_GT(a.GetAllocator().GetPortionCount(), 1u);
  a.Compress();
  EXPECT_EQ(a.GetModify(), 0x01);
  EXPECT_EQ(a.GetAllocator().GetPortionCount(), 1u);
  unsigned int expected = 0;
  for (unsigned int k = 0; k < 150; ++k)
    expected += (k % 17) * 4;
  EXPECT_EQ(a.GetAllocator().GetTotal(), expected);
  for (unsigned int k = 0; k < 150; ++k)
    ASSERT_EQ(List(a, k), std::vector<unsigned int>(k % 17, k));
  a.SetSize(152); // lists that come back into use are empty
  EXPECT_EQ(a.GetElemSize(151), 0u);
  EXPECT_EQ(a.GetElemPoint(151), nullptr);

  UIntArray empty;
  empty.Compress();
  EXPECT_EQ(empty.GetAllocator().GetPortionCount(), 0u);
}

TEST(VectorArray, ClearFullReleasesAndClearKeepsTheTableAndOnePortion) {
  UIntArray a;
  for (unsigned int k = 0; k < 100; ++k)
    a.Append(k % 9, nullptr);
  const unsigned int total = a.GetAllocator().GetTotal();
  a.Clear(0);
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetModify(), 0);
  EXPECT_EQ(a.GetAllocator().GetPortionCount(), 1u);
  EXPECT_EQ(a.GetAllocator().GetTotal(), total);
  EXPECT_EQ(a.GetAllocator().GetUsed(), 0u);
  a.SetSize(3); // the kept record slots were zeroed
  EXPECT_EQ(a.GetElemPoint(2), nullptr);
  a.Clear(1);
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetAllocator().GetPortionCount(), 0u);
  EXPECT_EQ(a.GetModify(), 0);
}

TEST(VectorArray, ReadingEmptiesFirstAndALengthZeroRecordLeavesItEmpty) {
  TempFile t;
  UIntArray a;
  const unsigned int v[2] = {1, 2};
  a.Append(2, v);
  EXPECT_EQ(a.Read(t.file, DOCUMENT{}), 1);
  EXPECT_EQ(a.GetSize(), 0u);
  EXPECT_EQ(a.GetModify(), 0);

  HeadArray h, back;
  h.Append(5, 2, v);
  h.Append(6, 0, nullptr);
  DOCUMENT doc;
  h.Write(t.file, doc);
  back.Append(1, 1, v);
  ASSERT_EQ(back.Read(t.file, doc), 1);
  ASSERT_EQ(back.GetSize(), 2u);
  EXPECT_EQ(back.GetElemHead(0), 5u);
  EXPECT_EQ(back.GetElemHead(1), 6u);
  EXPECT_EQ(back.GetElemSize(0), 2u);
  EXPECT_EQ(back.GetElemPoint(0)[1], 2u);
  EXPECT_EQ(back.GetModify(), 0);
  EXPECT_EQ(t.file.GetPosRead(), doc.position + doc.length);
}

// Every truncation of a valid block, huge counts and random payloads are
// reported (110) and leave the array empty.
TEST(VectorArray, DamagedPayloadsAreReportedAndLeaveTheArrayEmpty) {
  ScopedLanguage english(LanguageEnglish);
  HeadArray source;
  for (unsigned int k = 0; k < 5; ++k) {
    std::vector<unsigned int> v(k, k);
    source.Append(k + 100, k, v.data());
  }
  TempFile whole;
  DOCUMENT full;
  source.Write(whole.file, full);
  const std::vector<unsigned char> bytes = whole.Bytes(full.position, full.length);
  for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
    TempFile t;
    t.Append(std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<long>(cut)));
    HeadArray h;
    h.Append(1, 0, nullptr);
    const std::string text = ThrownText([&] { h.Read(t.file, DOCUMENT{0, static_cast<long long>(cut)}); });
    EXPECT_TRUE(IsOverrun(text)) << "cut at " << cut << ": " << text;
    EXPECT_EQ(h.GetSize(), 0u);
  }
  {
    // A record beyond the file.
    HeadArray h;
    EXPECT_TRUE(IsOverrun(ThrownText([&] { h.Read(whole.file, DOCUMENT{full.position, full.length + 1}); })));
  }
  {
    // Counts that no file could hold are refused before any allocation.
    TempFile t;
    std::vector<unsigned char> huge;
    PutU32(huge, 0xFFFFFFFFu);
    PutU32(huge, 0xFFFFFFFFu);
    t.Append(huge);
    UIntArray a;
    EXPECT_TRUE(IsOverrun(ThrownText([&] { a.Read(t.file, DOCUMENT{0, 8}); })));
    std::vector<unsigned char> lying; // list count 1, total 1, list count 0x40000000
    PutU32(lying, 1);
    PutU32(lying, 1);
    PutU32(lying, 0x40000000u);
    PutU32(lying, 7);
    const long long at = t.Append(lying);
    EXPECT_TRUE(IsOverrun(ThrownText([&] { a.Read(t.file, DOCUMENT{at, 16}); })));
    EXPECT_EQ(a.GetSize(), 0u);
  }
  std::mt19937 rng(23);
  for (int round = 0; round < 400; ++round) {
    std::vector<unsigned char> noise(1 + rng() % 60);
    for (auto& b : noise)
      b = static_cast<unsigned char>(rng() % 4 == 0 ? rng() : rng() % 3);
    TempFile t;
    t.Append(noise);
    VectorArray<double, unsigned int> a;
    try {
      if (a.Read(t.file, DOCUMENT{0, static_cast<long long>(noise.size())}) == 1) {
        unsigned long long stored = 4;
        for (unsigned int i = 0; i < a.GetSize(); ++i)
          stored += 4 + 8ull * a.GetElemSize(i);
        EXPECT_LE(stored + (a.GetSize() != 0 ? 4 : 0), noise.size());
      }
    } catch (const Exception& e) {
      EXPECT_TRUE(IsOverrun(e.GetDescription())) << e.GetDescription();
      EXPECT_EQ(a.GetSize(), 0u);
    }
  }
}

// Runs of every length up to a few hundred bytes, and one list larger than
// the streaming buffers, so that every copy path and buffer boundary of the
// payload streaming is crossed.
TEST(VectorArray, RunsOfEveryLengthAndOneLongerThanTheBuffersRoundTrip) {
  VectorArray<char, unsigned int> a;
  std::mt19937 rng(31);
  std::vector<std::string> model;
  for (int pass = 0; pass < 3; ++pass) {
    for (unsigned int n = 0; n <= 300; ++n) {
      std::string text(n, '\0');
      for (auto& c : text)
        c = static_cast<char>(rng());
      a.Append(n, text.data());
      model.push_back(text);
    }
    std::string big(600000 + pass, '\0');
    for (auto& c : big)
      c = static_cast<char>(rng());
    a.Append(static_cast<unsigned int>(big.size()), big.data());
    model.push_back(big);
  }
  TempFile t;
  DOCUMENT doc;
  a.Write(t.file, doc);
  VectorArray<char, unsigned int> back;
  ASSERT_EQ(back.Read(t.file, doc), 1);
  ASSERT_EQ(back.GetSize(), model.size());
  for (unsigned int i = 0; i < back.GetSize(); ++i) {
    ASSERT_EQ(back.GetElemSize(i), model[i].size());
    ASSERT_EQ(std::string(back.GetElemPoint(i), back.GetElemSize(i)), model[i]) << "list " << i;
  }
}

TEST(VectorArray, FailuresThatGoToTheFilesSinkReturnZeroAndKeepTheMarks) {
  ScopedLanguage english(LanguageEnglish);
  CPhrase sink;
  TempFile t(&sink);
  std::vector<unsigned char> damaged;
  PutU32(damaged, 1);
  PutU32(damaged, 1);
  PutU32(damaged, 1000);
  t.Append(damaged);
  UIntArray a;
  a.Append(0, nullptr);
  EXPECT_EQ(a.Read(t.file, DOCUMENT{0, 12}), 0);
  EXPECT_EQ(a.GetSize(), 0u);
  ASSERT_GE(sink.GetQuantity(), 1u);
  EXPECT_TRUE(IsOverrun(sink[sink.GetQuantity() - 1].GetText())) << sink[sink.GetQuantity() - 1].GetText();

  // A file that cannot be written: the record stays empty and the marks stay.
  VArrayPlus<double> rows;
  rows.SetSize(1);
  EXPECT_EQ(rows.Read(t.file, 0), 0); // 1 row whose count (1) of doubles overruns
  EXPECT_EQ(rows.GetSize(), 0u);
  t.file.Close();
  CPhrase readSink;
  CFileBase readOnly;
  ASSERT_EQ(readOnly.Open(t.Path().c_str(), "r", &readSink), 1);
  const unsigned int v = 5;
  a.Append(1, &v);
  DOCUMENT doc{7, 7};
  a.Write(readOnly, doc);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(a.GetModify(), 0x11);
  EXPECT_GE(readSink.GetQuantity(), 1u);
  readOnly.Close();
}

TEST(VectorArray, CopyAndAssignmentCopyContentsAndMarks) {
  UIntArray a;
  const unsigned int v[3] = {3, 2, 1};
  a.Append(3, v);
  a.Append(0, nullptr);
  a.ClearModifyLast();
  UIntArray b;
  b.Append(1, v);
  b = a;
  EXPECT_EQ(b.GetSize(), 2u);
  EXPECT_EQ(List(b, 0), (std::vector<unsigned int>{3, 2, 1}));
  EXPECT_EQ(b.GetModify(), 0x01);
  b = b;
  EXPECT_EQ(List(b, 0), (std::vector<unsigned int>{3, 2, 1}));
  UIntArray c(std::move(b));
  EXPECT_EQ(b.GetSize(), 0u);
  EXPECT_EQ(List(c, 0), (std::vector<unsigned int>{3, 2, 1}));
  HeadArray h;
  h.Append(7, 3, v);
  HeadArray g(h);
  EXPECT_EQ(g.GetElemHead(0), 7u);
  g.Append(h);
  EXPECT_EQ(g.GetSize(), 2u);
  EXPECT_EQ(g.GetElemHead(1), 7u);
}

} // namespace
} // namespace zel
