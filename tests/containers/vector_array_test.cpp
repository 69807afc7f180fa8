#include "zeltools/containers/vector_array.h"

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

using test::ThrownText;
using UIntArray = VectorArray<unsigned int, unsigned int>;
using HeadArray = VectorHeadArray<unsigned int, unsigned int, unsigned int>;

template <class T>
T RandomValue(std::mt19937& rng) {
  if constexpr (std::is_same<T, CTypeValue<unsigned char, unsigned int>>::value)
    return T(static_cast<unsigned char>(rng()), static_cast<unsigned int>(rng()));
  else if constexpr (std::is_same<T, CTypeValue<unsigned short, double>>::value)
    return T(static_cast<unsigned short>(rng()), static_cast<double>(rng()) / 3.0);
  else
    return static_cast<T>(rng() % 7); // few values, so that a list is sometimes set to what it holds
}

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

template <class T>
class ListsOf : public test::FileTest {};
using ElementTypes = ::testing::Types<char, unsigned char, unsigned int, double, CTypeValue<unsigned char, unsigned int>,
                                      CTypeValue<unsigned short, double>>;
TYPED_TEST_SUITE(ListsOf, ElementTypes);

// Random edits against a model of the lists and of the modify mark (a change
// marks, setting a list to what it holds does not), then Write/Read, Compress,
// a copy and an append onto itself.
TYPED_TEST(ListsOf, RandomEditsMatchAModelThroughWriteReadAndCompress) {
  using T = TypeParam;
  std::mt19937 rng(17);
  CFileBase file;
  ASSERT_EQ(file.Open(this->path_.c_str(), "wr"), 1);
  for (int round = 0; round < 8; ++round) {
    VectorArray<T, unsigned int> a;
    Model<T> model;
    for (int step = 0; step < 400; ++step) {
      const unsigned int n = rng() % 5 == 0 ? 0 : rng() % 12, op = rng() % 12;
      const unsigned int i = model.empty() ? 0 : rng() % static_cast<unsigned int>(model.size());
      std::vector<T> values(n);
      for (auto& v : values)
        v = RandomValue<T>(rng);
      bool changed = true;
      a.ClearModify();
      if (op < 4 || model.empty()) {
        EXPECT_EQ(a.Append(n, values.data()), model.size());
        model.push_back(values);
      } else if (op < 9) { // from outside, from the list itself, or left as the storage holds it
        const std::vector<T>& old = model[i];
        const T* from = op == 8 && n <= old.size() ? a.GetElemPoint(i) + (old.size() - n) : values.data();
        if (op == 7)
          from = nullptr;
        std::vector<T> expected = from != nullptr ? std::vector<T>(from, from + n) : std::vector<T>(n);
        if (from == nullptr && n <= old.size())
          expected.assign(old.begin(), old.begin() + n);
        changed = n != old.size() || (from != nullptr && n != 0 && std::memcmp(from, old.data(), n * sizeof(T)) != 0);
        const T* before = a.GetElemPoint(i);
        a.Replace(i, n, from);
        if (before != nullptr) // storage is reused up to the count only
          ASSERT_EQ(a.GetElemPoint(i) == before, n <= old.size()) << "step " << step;
        model[i] = expected;
      } else if (op < 11) {
        const unsigned int size = rng() % static_cast<unsigned int>(model.size() + 3);
        changed = size != model.size();
        a.SetSize(size);
        model.resize(size);
      } else {
        a.Compress();
        changed = false;
      }
      ASSERT_EQ(a.GetModify(), changed ? 0x11 : 0) << "step " << step;
    }
    ExpectEqual(a, model);

    DOCUMENT doc;
    a.SetModify(0x11);
    a.Write(file, doc);
    EXPECT_EQ(a.GetModify(), 0);
    VectorArray<T, unsigned int> back;
    back.Append(1, model.empty() || model[0].empty() ? nullptr : model[0].data()); // for the read to replace
    ASSERT_EQ(back.Read(file, doc), 1);
    ExpectEqual(back, model);
    EXPECT_LE(back.GetAllocator().GetPortionCount(), 1u);
    EXPECT_EQ(file.GetPosRead(), doc.position + doc.length);

    // Something to repack (one portion is left alone), then contiguous lists
    // in order.
    model.push_back(std::vector<T>(5000, RandomValue<T>(rng)));
    a.Append(5000, model.back().data());
    ASSERT_GT(a.GetAllocator().GetPortionCount(), 1u);
    a.ClearModifyLast();
    a.Compress();
    ExpectEqual(a, model);
    EXPECT_EQ(a.GetModify(), 0x01);
    EXPECT_EQ(a.GetAllocator().GetPortionCount(), 1u);
    const T* next = nullptr;
    for (unsigned int k = 0; k < a.GetSize(); ++k)
      if (a.GetElemSize(k) != 0) {
        ASSERT_TRUE(next == nullptr || a.GetElemPoint(k) == next) << "list " << k;
        next = a.GetElemPoint(k) + a.GetElemSize(k);
      }
    VectorArray<T, unsigned int> copy(a);
    copy.Append(copy); // onto itself
    Model<T> doubled = model;
    doubled.insert(doubled.end(), model.begin(), model.end());
    ExpectEqual(copy, doubled);
    a.Clear(0); // the record table and one portion of the former total stay
    EXPECT_EQ(a.GetSize() + a.GetModify() + a.GetAllocator().GetUsed(), 0u);
    EXPECT_EQ(a.GetAllocator().GetPortionCount(), 1u);
  }
}

using VectorArrayFile = test::FileTest;

// Lists of every length up to a few hundred bytes and some larger than the
// streaming buffers cross every copy path and buffer boundary of the payload.
TEST_F(VectorArrayFile, RunsOfEveryLengthAndLongerThanTheBuffersRoundTrip) {
  VectorArray<char, unsigned int> a;
  std::mt19937 rng(31);
  std::vector<std::string> model;
  for (unsigned int n = 0; n <= 903; ++n) {
    std::string text(n % 301 == 300 ? 600000 + n : n % 301, '\0');
    for (auto& c : text)
      c = static_cast<char>(rng());
    a.Append(static_cast<unsigned int>(text.size()), text.data());
    model.push_back(text);
  }
  CFileBase file;
  ASSERT_EQ(file.Open(path_.c_str(), "wr"), 1);
  DOCUMENT doc;
  a.Write(file, doc);
  VectorArray<char, unsigned int> back;
  ASSERT_EQ(back.Read(file, doc), 1);
  ASSERT_EQ(back.GetSize(), model.size());
  for (unsigned int i = 0; i < back.GetSize(); ++i)
    ASSERT_EQ(std::string(back.GetElemPoint(i), back.GetElemSize(i)), model[i]) << "list " << i;
}

TEST(VectorArray, OutOfRangeNumbersAndHeadChanges) {
  UIntArray a;
  a.Append(0, nullptr);
  const unsigned int v = 1;
  EXPECT_EQ(ThrownText([&] { a.Replace(1, 1, &v); }), "Error in VectorArray");
  EXPECT_EQ(a.GetElemSize(1) + a.GetSize(), 1u);
  EXPECT_EQ(a.GetElemPoint(1), nullptr);
  HeadArray h, other;
  EXPECT_EQ(ThrownText([&] { h.Replace(0, 1, 1, &v); }), "Error in VectorHeadArray");
  h.Append(10, 1, &v);
  h.ClearModify();
  h.Replace(0, 10, 1, &v);
  EXPECT_EQ(h.GetModify(), 0);
  h.Replace(0, 11, 1, &v); // a different head alone is a change
  EXPECT_EQ(h.GetModify(), 0x11);
  h.GetElemHead(1) = 42; // one spare value for out-of-range heads of all arrays of the type
  EXPECT_EQ(other.GetElemHead(7), 42u);
  EXPECT_EQ(h.GetElemHead(0), 11u);
}

// Exact bytes: an empty array, lists with their total, heads before counts
// (head arrays keep their marks), and pairs packed in 5 bytes.
TEST_F(VectorArrayFile, PayloadBytes) {
  CFileBase file;
  ASSERT_EQ(file.Open(path_.c_str(), "wr"), 1);
  UIntArray empty, a;
  const unsigned int seven = 7;
  a.Append(1, &seven);
  a.Append(0, nullptr);
  HeadArray h;
  h.Append(9, 1, &seven);
  h.Append(0xA0B0C0D0u, 0, nullptr);
  VectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int> pairs;
  const CTypeValue<unsigned char, unsigned int> pv[2] = {{1, 0x01020304u}, {2, 5}};
  pairs.Append(2, pv);
  DOCUMENT docs[4];
  empty.Write(file, docs[0]);
  a.Write(file, docs[1]);
  h.Write(file, docs[2]);
  pairs.Write(file, docs[3]);
  EXPECT_EQ(h.GetModify(), 0x11);
  file.Close();
  std::vector<long long> places;
  for (const DOCUMENT& d : docs)
    places.insert(places.end(), {d.position, d.length});
  EXPECT_EQ(places, (std::vector<long long>{0, 4, 4, 20, 24, 28, 52, 22}));
  std::vector<unsigned char> expected;
  for (unsigned int w : {0u, 2u, 1u, 1u, 7u, 0u, 2u, 1u, 9u, 1u, 7u, 0xA0B0C0D0u, 0u, 1u, 2u, 2u})
    for (int k = 0; k < 4; ++k)
      expected.push_back(static_cast<unsigned char>(w >> (8 * k)));
  expected.insert(expected.end(), {1, 4, 3, 2, 1, 2, 5, 0, 0, 0});
  EXPECT_EQ(test::Bytes(path_), expected);
}

// A damaged payload leaves the array empty; whatever is accepted fits the
// bytes that were there.
TEST_F(VectorArrayFile, DamagedPayloadsAreReportedAndLoseNothingStored) {
  const unsigned int seven = 7;
  test::ExpectEveryDamageReported(
      path_,
      [&](CFileBase& f, DOCUMENT& doc) {
        HeadArray h; // {head 5, {7}}, {head 6, {}}
        h.Append(5, 1, &seven);
        h.Append(6, 0, nullptr);
        h.Write(f, doc);
      },
      [](CFileBase& f, DOCUMENT doc) {
        HeadArray h;
        h.Append(1, 0, nullptr);
        const bool accepted = h.Read(f, doc) == 1;
        unsigned long long stored = h.GetSize() != 0 ? 8 : 4;
        for (unsigned int i = 0; i < h.GetSize(); ++i)
          stored += 8 + 4ull * h.GetElemSize(i);
        EXPECT_TRUE(accepted ? stored <= static_cast<unsigned long long>(doc.length) : h.GetSize() == 0);
        return accepted;
      });
}

} // namespace
} // namespace zel
