#include "zeltools/datastore/data.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/files/file_base.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

// The table under test: a number list (base 0, 4-byte numbers), a byte list
// (base 1) and a list of 8-byte values (base 2), with 6 data bytes per line.
constexpr unsigned short kData = 6;
constexpr unsigned char kBases = 3;
constexpr unsigned int kElement[kBases] = {4, 1, 8};

void Shape(CData& t) {
  t.Init(kData, kData, kBases);
  t.SetTypeBase(0, 12, 0);
  t.SetTypeBase(2, 11, 0);
  t.SetNumList(0);
}

// The plain model of a line: each list as its raw bytes.
struct MLine {
  std::string text;
  std::array<unsigned char, kData> data{};
  std::array<std::vector<unsigned char>, kBases> lists;

  bool operator==(const MLine& o) const { return text == o.text && data == o.data && lists == o.lists; }
  std::vector<unsigned int> Numbers() const {
    std::vector<unsigned int> out(lists[0].size() / 4);
    if (!out.empty())
      std::memcpy(out.data(), lists[0].data(), lists[0].size());
    return out;
  }
  void SetNumbers(const std::vector<unsigned int>& v) {
    lists[0].resize(v.size() * 4);
    if (!v.empty())
      std::memcpy(lists[0].data(), v.data(), lists[0].size());
  }
};
using Model = std::vector<MLine>;

std::string Lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

unsigned int ModelNumber(const Model& m, unsigned int number) {
  for (std::size_t n = m.size(); n >= 1; --n) {
    const auto v = m[n - 1].Numbers();
    if (std::find(v.begin(), v.end(), number) != v.end())
      return static_cast<unsigned int>(n);
  }
  return 0;
}

void ExpectSame(const CData& t, const Model& m) {
  ASSERT_EQ(t.GetQuantity(), m.size());
  unsigned int full = 0;
  for (unsigned int n = 1; n <= m.size(); ++n) {
    const MLine& line = m[n - 1];
    ASSERT_STREQ(t.GetText(n), line.text.c_str()) << "line " << n;
    ASSERT_EQ(std::memcmp(t.GetData(n), line.data.data(), kData), 0) << "line " << n;
    full += line.text.empty() ? 0u : static_cast<unsigned int>(line.text.size() + 1);
    for (unsigned char b = 0; b < kBases; ++b) {
      const SData* s = t.GetBase(n, b);
      ASSERT_EQ(s->count * kElement[b], line.lists[b].size()) << "line " << n << " base " << int(b);
      ASSERT_TRUE(s->count == 0 || std::memcmp(s->list, line.lists[b].data(), line.lists[b].size()) == 0);
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(s->list) % kElement[b], 0u) << "lists are read as typed arrays";
      full += static_cast<unsigned int>(line.lists[b].size());
    }
  }
  ASSERT_EQ(t.GetFullSize(), full);
  unsigned int pos[13];
  ASSERT_EQ(t.GetPosList(13, pos), 1);
  for (unsigned int v = 0; v < 14; ++v) {
    ASSERT_EQ(t.GetNumber(v), ModelNumber(m, v)) << "number " << v;
    ASSERT_TRUE(v == 0 || pos[v - 1] == ModelNumber(m, v)) << "number " << v;
  }
}

// Both stored layouts bring the table back whole into a table of the same shape.
void ExpectRoundTrips(CData& t, const Model& m, const std::string& path) {
  CFileBase w;
  ASSERT_EQ(w.Open(path.c_str(), "w"), 1);
  DOCUMENT doc;
  DOCUMENT_OLD old;
  const bool changed = (t.GetModify() & 0x11) != 0 && t.GetQuantity() != 0;
  t.Write(w, doc, 1);
  t.WriteOld(w, old);
  w.Close();
  ASSERT_TRUE(!changed || t.GetPortionCount() <= 1u) << "writing packs a changed table";
  ASSERT_EQ(t.GetModify(), 0u);
  CFileBase r;
  ASSERT_EQ(r.Open(path.c_str(), "r"), 1);
  CData back, backOld;
  Shape(back);
  Shape(backOld);
  ASSERT_EQ(back.Read(r, doc), 1);
  ASSERT_EQ(backOld.ReadOld(r, old), 1);
  ExpectSame(back, m);
  ExpectSame(backOld, m);
  ASSERT_EQ(back.Compare(t), 0);
}

std::vector<unsigned int> RandomNumbers(std::mt19937& rng, unsigned int most) {
  std::vector<unsigned int> v(rng() % (most + 1));
  for (auto& x : v)
    x = rng() % 13;
  return v;
}

TEST(DataModel, RandomEditsMatchAPlainModel) {
  test::TempDir dir;
  for (unsigned int seed = 1; seed <= 12; ++seed) {
    std::mt19937 rng(seed);
    CData t;
    Shape(t);
    Model m;
    auto line = [&] { return static_cast<unsigned int>(rng() % (m.size() + 2)); }; // 0 and q + 1 included
    for (int step = 0; step < 400; ++step) {
      const unsigned int q = static_cast<unsigned int>(m.size());
      const unsigned int n = line();
      unsigned int op = rng() % 20;
      if ((op == 11 || op == 12 || op == 19) && rng() % 4 != 0)
        op = 0; // the mass erasures kept rare, so that the table grows
      const CData copy(t); // a source of line images that the edit cannot move
      const Model before = m;
      t.ClearModify();
      std::vector<unsigned int> nums = RandomNumbers(rng, 4);
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step) + " op " + std::to_string(op));
      switch (op) {
      case 0: {
        const unsigned int k = rng() % 3;
        if (rng() % 4 == 0 && q + k != 0) {
          t.SetSize(q + k - 1);
          m.resize(q + k - 1);
        } else {
          ASSERT_EQ(t.AddSize(k), k == 0 ? 0u : q + 1);
          m.resize(q + k);
        }
        break;
      }
      case 1: {
        std::string text(rng() % 7, 'a');
        for (char& c : text)
          c = "abAB x"[rng() % 6];
        if (n >= 1 && n <= q && rng() % 3 == 0)
          text = Lower(m[n - 1].text); // the text it holds, but for case
        t.SetText(n, text.c_str());
        if (n >= 1 && n <= q && Lower(text) != Lower(m[n - 1].text))
          m[n - 1].text = text;
        break;
      }
      case 2: {
        std::array<unsigned char, kData> d{};
        for (auto& c : d)
          c = static_cast<unsigned char>(rng() % 3);
        d[0] = static_cast<unsigned char>(rng() % 2 == 0 ? 240 + rng() % 3 : d[0]); // the type byte, both sides of 241
        t.SetData(n, d.data());
        if (n >= 1 && n <= q)
          m[n - 1].data = d;
        break;
      }
      case 3:
      case 4: {
        const unsigned char b = static_cast<unsigned char>(rng() % (kBases + 1));
        const unsigned int count = static_cast<unsigned int>(nums.size());
        std::vector<unsigned char> bytes(count * 8);
        for (auto& c : bytes)
          c = static_cast<unsigned char>(rng());
        const void* src = b == 0 ? static_cast<const void*>(nums.data()) : bytes.data();
        if (op == 3)
          t.AppendBase(n, b, count, src);
        else
          t.ReplaceBase(n, b, count, src);
        if (n >= 1 && n <= q && b < kBases) {
          auto& list = m[n - 1].lists[b];
          if (op == 4)
            list.clear();
          const auto* p = static_cast<const unsigned char*>(src);
          list.insert(list.end(), p, p + count * kElement[b]);
        }
        break;
      }
      case 5: {
        const unsigned int last = rng() % 3 == 0 ? 0u : n + rng() % 3;
        t.Erase(n, last);
        const unsigned int first = n == 0 ? 1 : n, end = std::min(last == 0 ? first : last, q);
        if (first <= end)
          m.erase(m.begin() + (first - 1), m.begin() + end);
        break;
      }
      case 6: {
        const unsigned int last = rng() % 2 == 0 ? 0u : line();
        t.Zero(n, last);
        const unsigned int first = n == 0 ? 1 : n, end = last == 0 || last > q ? q : last;
        for (unsigned int i = first; i <= end; ++i)
          m[i - 1] = MLine{};
        break;
      }
      case 7:
      case 8: {
        const unsigned char firstOnly = static_cast<unsigned char>(rng() % 2);
        if (op == 7)
          t.RemoveList(n, static_cast<unsigned int>(nums.size()), nums.data(), firstOnly);
        else
          t.RemoveList(static_cast<unsigned int>(nums.size()), nums.data(), firstOnly);
        for (unsigned int i = 1; i <= q; ++i) {
          if (op == 7 && i != n)
            continue;
          std::vector<unsigned int> marked = nums, kept;
          for (unsigned int v : m[i - 1].Numbers()) {
            auto at = std::find(marked.begin(), marked.end(), v);
            if (at == marked.end()) {
              kept.push_back(v);
            } else if (firstOnly != 0) {
              marked.erase(std::remove(marked.begin(), marked.end(), v), marked.end());
            }
          }
          m[i - 1].SetNumbers(kept);
        }
        break;
      }
      case 9: {
        const unsigned int size = rng() % 10;
        std::vector<unsigned int> table(size);
        for (auto& x : table)
          x = rng() % 13;
        t.Renumber(size, table.data());
        for (unsigned int i = 0; i < q && size != 0; ++i) {
          std::vector<unsigned int> kept;
          for (unsigned int v : m[i].Numbers())
            if (v >= 1 && v <= size)
              kept.push_back(table[v - 1]);
          m[i].SetNumbers(kept);
        }
        break;
      }
      case 10: {
        const int mode = static_cast<int>(rng() % 3) - 1;
        // A number some line holds, mostly, so that lines qualify; half the
        // time that line's type byte is first put on either side of 241.
        const unsigned int from = q == 0 ? 0 : rng() % q;
        const auto held = q == 0 ? std::vector<unsigned int>{} : m[from].Numbers();
        if (q != 0 && rng() % 2 == 0) {
          m[from].data[0] = static_cast<unsigned char>(240 + rng() % 3);
          t.SetData(from + 1, m[from].data.data());
        }
        const unsigned int number = held.empty() ? rng() % 13 : held[rng() % held.size()];
        t.Heritage(number, static_cast<unsigned int>(nums.size()), nums.data(), mode);
        for (unsigned int i = 0; i < q && !nums.empty(); ++i) {
          const bool high = m[i].data[0] >= 241;
          auto v = m[i].Numbers();
          if ((mode == 0 && high) || (mode == 1 && !high) || std::find(v.begin(), v.end(), number) == v.end())
            continue;
          v.insert(v.end(), nums.begin(), nums.end());
          m[i].SetNumbers(v);
        }
        break;
      }
      case 11: {
        const unsigned char type = static_cast<unsigned char>(rng() % 3);
        const int offset = static_cast<int>(rng() % (kData + 1)) - 1;
        t.EraseType(type, offset);
        if (offset >= 0)
          m.erase(std::remove_if(m.begin(), m.end(), [&](const MLine& l) { return l.data[offset] == type; }), m.end());
        break;
      }
      case 12: {
        t.EraseEmpty();
        m.erase(std::remove_if(m.begin(), m.end(),
                               [](const MLine& l) {
                                 auto v = l.Numbers();
                                 return std::all_of(v.begin(), v.end(), [](unsigned int x) { return x == 0; });
                               }),
                m.end());
        break;
      }
      case 13: {
        const unsigned int from = line();
        if (rng() % 2 == 0) {
          ASSERT_EQ(t.Append(from, t), from >= 1 && from <= q ? q + 1 : 0u);
          if (from >= 1 && from <= q)
            m.push_back(m[from - 1]);
        } else {
          t.Replace(n, t, from);
          if (n >= 1 && n <= q && from >= 1 && from <= q && n != from) {
            const std::string keep = m[n - 1].text;
            m[n - 1] = m[from - 1];
            if (Lower(keep) == Lower(m[n - 1].text) && !m[n - 1].text.empty())
              m[n - 1].text = keep;
          }
        }
        break;
      }
      case 14: {
        const unsigned int max = rng() % 13;
        t.CheckIndex(max, 100);
        for (auto& l : m) {
          auto v = l.Numbers();
          v.erase(std::remove_if(v.begin(), v.end(), [&](unsigned int x) { return x == 0 || x > max; }), v.end());
          l.SetNumbers(v);
        }
        break;
      }
      case 16:
      case 17: { // from line images: appended (one or two, or one with a new text) or replacing line n
        const unsigned int from = line();
        const unsigned int k = from == 0 || from > q ? 0 : std::min<unsigned int>(1 + rng() % 2, q + 1 - from);
        const std::string text = rng() % 2 == 0 ? "Bb" : "";
        const SDataLine* image = rng() % 2 == 0 ? copy.Get(from) : t.Get(from); // also from the lines it joins
        if (op == 16 && k != 0 && rng() % 2 == 0) {
          ASSERT_EQ(t.Append(image, text.c_str()), q + 1);
          m.push_back(before[from - 1]);
          m.back().text = text;
        } else if (op == 16) {
          ASSERT_EQ(t.Append(k, image), k == 0 ? 0u : q + 1);
          m.insert(m.end(), before.begin() + (from - (k != 0)), before.begin() + (from - (k != 0) + k));
        } else if (k != 0) {
          const bool withText = rng() % 2 == 0;
          ASSERT_EQ(withText ? t.Replace(n, image, text.c_str()) : t.Replace(n, image), n >= 1 && n <= q);
          if (n >= 1 && n <= q) {
            const std::string keep = m[n - 1].text;
            m[n - 1] = before[from - 1];
            m[n - 1].text = withText ? text : m[n - 1].text;
            if (Lower(keep) == Lower(m[n - 1].text) && !m[n - 1].text.empty())
              m[n - 1].text = keep;
          }
        }
        break;
      }
      case 18: { // lines of another table, by a list of numbers (0 of them: all)
        const unsigned int count = rng() % 3 == 0 ? 0u : static_cast<unsigned int>(nums.size());
        unsigned int added = 0;
        for (unsigned int i = 0; i < (count == 0 ? q : count); ++i)
          if (count == 0 || (nums[i] >= 1 && nums[i] <= q))
            ++added, m.push_back(before[(count == 0 ? i + 1 : nums[i]) - 1]);
        ASSERT_EQ(t.Append(copy, count, nums.data()), added == 0 ? 0u : q + 1);
        // The number-list readers, the reservation and the file mark change no line.
        const bool valid = n >= 1 && n <= m.size();
        const std::vector<unsigned int> model = valid ? m[n - 1].Numbers() : std::vector<unsigned int>{};
        std::vector<unsigned int> got{99}, appended{99};
        ASSERT_EQ(t.GetList(n, got), model.size());
        ASSERT_EQ(got, model);
        ASSERT_EQ(t.GetList(n), model.size());
        ASSERT_EQ(t.GetList(appended, n), model.empty() ? 0 : 1);
        ASSERT_EQ(appended.size(), model.size() + 1);
        unsigned int listed = 7, *list = nullptr;
        t.GetList(n, listed, list);
        ASSERT_TRUE(listed == model.size() && (listed == 0 || std::equal(model.begin(), model.end(), list)));
        t.SetMaxSize(q + 40);
        ASSERT_GE(t.GetMaxSize(), q + 40);
        t.ModifyFile(n);
        ASSERT_EQ(t.GetModify() & 0x11, added != 0 || valid ? 0x11 : 0);
        break;
      }
      case 19:
        t.Clear();
        m.clear();
        break;
      default: {
        const bool many = t.GetPortionCount() >= 2 && q != 0;
        t.Compress();
        if (many) {
          ASSERT_EQ(t.GetPortionCount(), t.GetFullSize() == 0 ? 0u : 1u);
          ASSERT_EQ(t.GetTotal(), t.GetFullSize());
        }
        break;
      }
      }
      ExpectSame(t, m);
      // Every real change leaves its mark: 0x22 for texts, 0x11 for the rest;
      // texts, data and number lists set to what they hold leave none.
      bool text = false, other = m.size() != before.size();
      for (std::size_t i = 0; i < std::min(m.size(), before.size()); ++i) {
        text = text || m[i].text != before[i].text;
        other = other || m[i].data != before[i].data || m[i].lists != before[i].lists;
      }
      ASSERT_TRUE(!text || m.size() != before.size() || (t.GetModify() & 0x22) == 0x22);
      ASSERT_TRUE(!other || (t.GetModify() & 0x11) == 0x11);
      ASSERT_TRUE(text || other || (op != 1 && op != 2 && op != 7 && op != 8 && op != 10) || t.GetModify() == 0);
      if (step % 50 == 49) {
        CData copy; // outlives its source, and holds its pieces in one portion
        copy = CData(t);
        ASSERT_EQ(copy.GetTotal(), copy.GetFullSize());
        ExpectSame(copy, m);
        ExpectRoundTrips(t, m, dir.File("model.bin"));
        ExpectSame(t, m);
        _CData source, headed; // the head goes with the table's copy; Clear zeroes it
        source.Init(0, 0, 0, 3);
        source.CData::Copy(t, 1);
        source.SetHead("hd!", 3);
        headed.Copy(source, 1);
        ExpectSame(headed, m);
        ASSERT_EQ(std::memcmp(headed.GetHead(), "hd!", 3), 0);
        headed.Clear();
        ASSERT_TRUE(headed.GetQuantity() == 0 && test::AllZero(headed.GetHead(), 3));
        ASSERT_EQ(headed.GetModify() & 0x11, m.empty() ? source.GetModify() & 0x11 : 0x11);
      }
    }
  }
}

// The renumbering pack removes the listed lines and those whose data byte at
// `offset` is `type`, and maps old numbers to new ones.
TEST(DataModel, RenumberingCompressKeepsTheUnselectedLinesInOrder) {
  std::mt19937 rng(7);
  for (int round = 0; round < 40; ++round) {
    CData t;
    Shape(t);
    const unsigned int q = rng() % 12;
    t.AddSize(q);
    for (unsigned int n = 1; n <= q; ++n) {
      const unsigned char d[kData] = {static_cast<unsigned char>(rng() % 3), static_cast<unsigned char>(n)};
      t.SetData(n, d);
      t.SetText(n, std::string(n, 'x').c_str());
      t.AppendBase(n, 0, 1, &n);
    }
    std::vector<unsigned int> list = RandomNumbers(rng, 5);
    const int offset = static_cast<int>(rng() % 3) - 1;
    const unsigned short type = static_cast<unsigned short>(rng() % 3);
    CData before(t);
    VKZUINT map;
    const unsigned int left = t.Compress(type, offset, static_cast<unsigned int>(list.size()), list.data(), map);
    ASSERT_EQ(left, t.GetQuantity());
    ASSERT_EQ(map.size(), q);
    unsigned int next = 0;
    for (unsigned int n = 1; n <= q; ++n) {
      const bool listed = std::find(list.begin(), list.end(), n) != list.end();
      const bool typed = offset >= 0 && static_cast<const unsigned char*>(before.GetData(n))[offset] == type;
      ASSERT_EQ(map[n - 1], listed || typed ? 0u : ++next);
      if (map[n - 1] != 0)
        ASSERT_EQ(t.Compare(map[n - 1], before, n, CData::CompareAll), 0);
    }
    ASSERT_EQ(next, left);
    ASSERT_LE(t.GetPortionCount(), 1u);
  }
}

// Union appends each source line that equals no line here, once.
TEST(DataModel, UnionAppendsOnlyLinesNotYetPresent) {
  std::mt19937 rng(3);
  CData a, b;
  Shape(a);
  Shape(b);
  for (CData* t : {&a, &b})
    for (int i = 0; i < 30; ++i) {
      const unsigned int n = t->AddSize(1), v[] = {static_cast<unsigned int>(rng() % 3), static_cast<unsigned int>(rng() % 3)};
      t->SetText(n, v[0] % 2 ? "Pin" : "pIN");
      t->AppendBase(n, 0, 1 + v[1] % 2, v); // lists that may be prefixes of one another
    }
  const unsigned int before = a.GetQuantity();
  const unsigned int added = a.Union(b, 0, nullptr);
  ASSERT_EQ(a.GetQuantity(), before + added);
  for (unsigned int m = 1; m <= b.GetQuantity(); ++m) {
    unsigned int found = 0;
    for (unsigned int n = 1; n <= a.GetQuantity(); ++n)
      found += a.Compare(n, b, m, CData::CompareAll) == 0 ? 1 : 0;
    ASSERT_GE(found, 1u);
  }
  // Lines are equal when their texts match without case and their lists
  // match; the order is antisymmetric.
  for (unsigned int n = 1; n <= a.GetQuantity(); ++n)
    for (unsigned int k = 1; k <= a.GetQuantity(); ++k) {
      std::vector<unsigned int> x, y;
      a.GetList(n, x);
      a.GetList(k, y);
      ASSERT_EQ(a.Compare(n, k, CData::CompareAll) == 0, x == y);
      ASSERT_EQ(a.Compare(n, k, CData::CompareAll), -a.Compare(k, n, CData::CompareAll));
    }
  for (unsigned int n = before + 1; n <= a.GetQuantity(); ++n)
    for (unsigned int k = 1; k < n; ++k)
      ASSERT_NE(a.Compare(k, n, CData::CompareAll), 0) << "appended line " << n << " repeats " << k;
}

// A table with a head, of two lines: "Ab" with data {7, 9} and the number 5,
// then an empty line with data {1, 2}; head {1, 2, 3}.
void HeadShape(_CData& t) {
  t.Init(2, 2, 1, 3);
  t.SetTypeBase(0, 12, 0);
  t.SetNumList(0);
}

void SmallHeadTable(_CData& t) {
  HeadShape(t);
  t.AddSize(2);
  const unsigned char d1[] = {7, 9}, d2[] = {1, 2}, head[] = {1, 2, 3};
  const unsigned int five = 5;
  t.SetText(1, "Ab");
  t.SetData(1, d1);
  t.SetData(2, d2);
  t.AppendBase(1, 0, 1, &five);
  t.SetHead(head, 3);
}

class DataFile : public test::FileTest {
protected:
  std::vector<unsigned char> Written(const std::function<void(CFileBase&)>& write) {
    CFileBase f;
    EXPECT_EQ(f.Open(path_.c_str(), "w"), 1);
    f.Write("pad!", 4);
    write(f);
    f.Close();
    const auto bytes = test::Bytes(path_);
    return std::vector<unsigned char>(bytes.begin() + 4, bytes.end());
  }
};

TEST_F(DataFile, HeadTableBlockHasTheStoredLayoutAndReadsBack) {
  _CData t;
  SmallHeadTable(t);
  DOCUMENT doc;
  const auto bytes = Written([&](CFileBase& f) { t.Write(f, doc, 0); });
  const std::vector<unsigned char> expected = {
      2,   2, 0, 0, 0, 7, 0, 0, 0,          // version, lines, full size
      7,   9, 1, 2,                         // data blocks
      'A', 'b', 0, 1, 0, 0, 0, 5, 0, 0, 0,  // line 1: text, one number
      0,   0, 0, 0, 0,                      // line 2: empty text, no numbers
      3,   0, 0, 0, 1, 2, 3};               // head size and head, after the block
  EXPECT_EQ(bytes, expected);
  EXPECT_EQ(doc.position, 4);
  EXPECT_EQ(doc.length, 29);
  EXPECT_EQ(t.GetVersion(), 2);

  CFileBase r;
  ASSERT_EQ(r.Open(path_.c_str(), "r"), 1);
  _CData back;
  HeadShape(back);
  ASSERT_EQ(back.Read(r, doc), 1);
  EXPECT_EQ(back.Compare(t), 0);
  EXPECT_EQ(std::memcmp(back.GetHead(), "\1\2\3", 3), 0);
  EXPECT_EQ(back.GetNumber(5), 1u);
  _CData shortHead; // takes what fits of the stored head
  shortHead.Init(2, 2, 1, 2);
  shortHead.SetTypeBase(0, 12, 0);
  ASSERT_EQ(shortHead.Read(r, doc), 1);
  EXPECT_EQ(std::memcmp(shortHead.GetHead(), "\1\2", 2), 0);
}

TEST_F(DataFile, EmptyTablesAndTheHeadWrittenAlone) {
  _CData t;
  HeadShape(t);
  const unsigned char head[] = {4, 5, 6};
  t.SetHead(head, 3);
  DOCUMENT doc{9, 9};
  EXPECT_TRUE(Written([&](CFileBase& f) { t.Write(f, doc, 0); }).empty());
  EXPECT_EQ(doc.length, 9) << "left as it was";
  CData plain;
  plain.Init(2, 2, 1);
  EXPECT_TRUE(Written([&](CFileBase& f) { plain.Write(f, doc, 0); }).empty());
  EXPECT_EQ(doc.length, 0) << "cleared";
  doc = DOCUMENT{9, 9};
  EXPECT_EQ(Written([&](CFileBase& f) { t.Write(f, doc, 1); }), (std::vector<unsigned char>{3, 0, 0, 0, 4, 5, 6}));
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  // That head is never read back: an empty record reads an empty table and
  // a zero head.
  CFileBase r;
  ASSERT_EQ(r.Open(path_.c_str(), "r"), 1);
  EXPECT_EQ(t.Read(r, doc), 1);
  EXPECT_EQ(std::memcmp(t.GetHead(), "\0\0\0", 3), 0);
  r.Close();
  // Nor is the head of a table block older than version 2.
  _CData old;
  SmallHeadTable(old);
  old.SetVersion(1);
  Written([&](CFileBase& f) {
    old.CData::Write(f, doc, 0);
    const unsigned char stray[] = {3, 0, 0, 0, 9, 9, 9};
    f.Write(stray, sizeof stray);
  });
  CFileBase r2;
  ASSERT_EQ(r2.Open(path_.c_str(), "r"), 1);
  ASSERT_EQ(t.Read(r2, doc), 1);
  EXPECT_EQ(t.GetQuantity(), 2u);
  EXPECT_EQ(std::memcmp(t.GetHead(), "\0\0\0", 3), 0);
}

TEST_F(DataFile, OlderBlockKeepsFixedPartsFromAVectorAndMasksLists) {
  _CData t;
  SmallHeadTable(t);
  VBase fixed;
  fixed.SetType(0, 3);
  fixed.Append(1, "xyz");
  DOCUMENT_OLD doc;
  const auto bytes = Written([&](CFileBase& f) { t.WriteOld(f, doc, fixed, "0"); });
  const std::vector<unsigned char> expected = {0, 2, 0, 0, 0, 2, 0, 'A', 'b', 'x', 'y', 'z', 0, 0, 0, 0, 0};
  EXPECT_EQ(bytes, expected);
  CFileBase r;
  ASSERT_EQ(r.Open(path_.c_str(), "r"), 1);
  VBase back;
  back.SetType(0, 3);
  ASSERT_EQ(t.ReadOld(r, doc, back, "0"), 1);
  EXPECT_EQ(back.GetSize(), 2u);
  EXPECT_EQ(std::memcmp(back.Get(1), "xyz\0\0\0", 6), 0);
  EXPECT_STREQ(t.GetText(1), "Ab");
  EXPECT_EQ(t.GetList(1), 0u);
}

TEST_F(DataFile, DamagedBlocksAreReportedAndLeaveTheTableEmpty) {
  auto refusedEmpty = [](bool ok, const CData& t) {
    EXPECT_TRUE(ok || t.GetQuantity() == 0u) << "a refused block left lines behind";
    return ok;
  };
  for (const bool older : {false, true})
    test::ExpectEveryDamageReported(
        path_,
        [&](CFileBase& f, DOCUMENT& doc) {
          _CData t;
          SmallHeadTable(t);
          t.SetText(t.AddSize(1), "zz");
          DOCUMENT_OLD old;
          if (!older)
            return t.CData::Write(f, doc, 0);
          t.WriteOld(f, old);
          doc = DOCUMENT{old.position, old.length};
        },
        [&](CFileBase& f, DOCUMENT doc) {
          _CData t;
          SmallHeadTable(t);
          const DOCUMENT_OLD old{static_cast<unsigned int>(doc.position), static_cast<unsigned int>(doc.length)};
          return refusedEmpty((older ? t.ReadOld(f, old) : t.CData::Read(f, doc)) != 0, t);
        });
  // A head cut short behind a whole block takes the table with it, in both reporting modes.
  _CData t;
  SmallHeadTable(t);
  DOCUMENT doc;
  std::vector<unsigned char> bytes = Written([&](CFileBase& f) { t.Write(f, doc, 0); });
  bytes.insert(bytes.begin(), {'p', 'a', 'd', '!'});
  bytes.pop_back();
  test::PutBytes(path_, bytes);
  for (const bool collect : {false, true}) {
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "r", collect ? &sink : nullptr), 1);
    _CData back;
    SmallHeadTable(back);
    if (collect)
      EXPECT_EQ(back.Read(f, doc), 0);
    else
      EXPECT_EQ(test::ThrownText([&] { back.Read(f, doc); }), test::FileMessage(110, path_));
    EXPECT_TRUE(back.GetQuantity() == 0 && test::AllZero(back.GetHead(), back.GetSizeHead()));
  }
}

TEST_F(DataFile, FilesKeptAsLinesAreReloadedByName) {
  CData t;
  t.Init(0, 0, 1);
  test::PutBytes(path_, {'a', 'b', 'c'});
  ASSERT_EQ(t.AppendFile(path_.c_str(), nullptr), 1u);
  test::PutBytes(path_, {'x', 'y'});
  ASSERT_EQ(t.AppendFile(path_.c_str(), nullptr), 1u);
  EXPECT_STREQ(t.GetText(1), path_.c_str());
  ASSERT_EQ(t.GetBase(1, 0)->count, 2u);
  EXPECT_EQ(std::memcmp(t.GetBase(1, 0)->list, "xy", 2), 0);
  CPhrase sink;
  EXPECT_EQ(t.AppendFile(dir_.File("missing").c_str(), &sink), 0u);
  EXPECT_EQ(t.GetQuantity(), 1u) << "the line of a file that failed to load is taken back";
  EXPECT_FALSE(sink.empty());
  EXPECT_FALSE(test::ThrownText([&] { t.AppendFile(dir_.File("missing").c_str(), nullptr); }).empty());
  EXPECT_EQ(t.GetQuantity(), 1u) << "also when the failure is thrown";
}

TEST(Data, ModifyMarksFollowRealChangesOnlyAndRemoveListNeedsLittleScratch) {
  CData t;
  Shape(t);
  t.AddSize(2);
  t.SetText(1, "Pin");
  const unsigned char d[kData] = {1, 2, 3};
  t.SetData(1, d);
  const unsigned int numbers[] = {7, 3, 7}, huge[] = {0xFFFFFFFFu, 7};
  t.AppendList(1, 3, numbers);
  t.ClearModify();
  t.SetText(2, "new");
  EXPECT_EQ(t.GetModify(), 0x22u);
  t.ClearModifyLast();
  EXPECT_EQ(t.GetModify(), 0x02u);
  const unsigned char e[kData] = {1, 2, 4};
  t.SetData(1, e);
  EXPECT_EQ(t.GetModify(), 0x13u);
  EXPECT_EQ(t.GetModifyLast(), 0x10u);
  // The scratch of a removal is sized by the line, not by the numbers asked for.
  t.RemoveList(1, 2, huge, 1);
  std::vector<unsigned int> left;
  t.GetList(1, left);
  EXPECT_EQ(left, (std::vector<unsigned int>{3, 7}));
  EXPECT_LT(t.GetTotal(), 4096u);
  EXPECT_EQ(CData().GetMaxSize(), 0xFFFFFFFFu);
  t.SetNumList(kBases + 1);
  EXPECT_EQ(t.GetNumList(), 0u);
  t.SetNumList(kBases); // accepted, and addresses no list
  EXPECT_EQ(t.GetNumList(), kBases);
  EXPECT_EQ(t.GetNumber(7), 0u);
}

struct FixedNumbers : CData {
  using CData::Compress;
  void Compress(unsigned short, int, unsigned int, const unsigned int*, unsigned int&, VKZUINT*) override {
    CompressNotApplied();
  }
};

TEST(Data, ATableThatKeepsItsNumbersRefusesTheRenumberingPack) {
  test::ScopedLanguage english(LanguageEnglish);
  FixedNumbers t;
  EXPECT_EQ(test::ThrownText([&] { t.Compress(0, -1, 0, nullptr); }), test::CatalogueText(301));
}

} // namespace
} // namespace zel
