#include "zeltools/files/file_base.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::PutBytes;
using test::ScopedLanguage;
using test::SizeOnDisk;
using test::TempDir;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;

// The catalogue message `id` filled with the file name and an empty text, as
// the file reports it.
std::string Expected(unsigned int id, const std::string& name) {
  const std::string format = test::CatalogueText(id);
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer, format.c_str(), name.c_str(), "");
  return buffer;
}

Buffer Pattern(std::size_t n, unsigned seed = 1) {
  Buffer b(n);
  for (std::size_t i = 0; i < n; ++i)
    b[i] = static_cast<unsigned char>((i * 131 + seed * 7 + (i >> 8)) & 0xFF);
  return b;
}

class FileBaseTest : public ::testing::Test {
protected:
  ScopedLanguage english_{LanguageEnglish};
  TempDir dir_;
  std::string path_ = dir_.File("data.bin");
};

// --- opening ---------------------------------------------------------------------

TEST_F(FileBaseTest, ModesTruncateKeepOrRefuseAsTheirLetters) {
  PutBytes(path_, Pattern(20));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "a"), 1); // keeps, positioned at 0
  EXPECT_EQ(f.GetLength(), 20);
  EXPECT_EQ(f.GetPosRead(), 0);
  EXPECT_EQ(f.AttributeWrite(), 1);
  EXPECT_EQ(f.AttributeRead(), 0);
  EXPECT_EQ(f.AttributeShare(), 0);
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "Rb+"), 1); // "+" keeps; upper and lower case alike
  EXPECT_EQ(f.GetLength(), 20);
  EXPECT_EQ(f.AttributeRead(), 1);
  EXPECT_EQ(f.AttributeWrite(), 1);
  f.Close();
  // Only the first 8 characters count: the W in ninth place is ignored.
  ASSERT_EQ(f.Open(path_.c_str(), "rrrrrrrrw"), 1);
  EXPECT_EQ(f.AttributeWrite(), 0);
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1); // truncates
  EXPECT_EQ(f.GetLength(), 0);
  f.Close();
  EXPECT_EQ(SizeOnDisk(path_), 0);
  const std::string missing = dir_.File("missing");
  EXPECT_EQ(ThrownText([&] { f.Open(missing.c_str(), "r"); }), Expected(102, missing));
  EXPECT_EQ(f.GetHandle(), nullptr);
  ASSERT_EQ(f.Open(missing.c_str(), "a"), 1); // writing creates
  f.Close();
  EXPECT_EQ(SizeOnDisk(missing), 0);
}

TEST_F(FileBaseTest, SecondOpenOnOneObjectFailsAndKeepsTheFirst) {
  const std::string other = dir_.File("other");
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  f.Write("abcd", 4);
  const std::string expected = "FILEBASE: file \"" + path_ + "\" is already opened.\n Attempt to open file \"\"";
  EXPECT_EQ(ThrownText([&] { f.Open(other.c_str(), "w"); }), expected);
  CPhrase sink;
  EXPECT_EQ(f.Open(other.c_str(), "w", &sink), 0);
  ASSERT_FALSE(sink.empty());
  EXPECT_EQ(std::string(sink.back().GetText()), expected);
  EXPECT_STREQ(f.GetFileName(), path_.c_str());
  EXPECT_EQ(f.GetSink(), nullptr); // the open file keeps its own reporting
  EXPECT_EQ(f.GetLength(), 4);
  EXPECT_EQ(f.Close(), 1);
  EXPECT_EQ(Bytes(path_), (Buffer{'a', 'b', 'c', 'd'}));
  EXPECT_EQ(SizeOnDisk(other), -1);
}

TEST_F(FileBaseTest, OpensWithoutTheShareLetterExcludeEachOther) {
  PutBytes(path_, Pattern(8));
  CFileBase first, second;
  ASSERT_EQ(first.Open(path_.c_str(), "r"), 1);
  CPhrase sink;
  EXPECT_EQ(second.Open(path_.c_str(), "r", &sink), 0);
  ASSERT_EQ(sink.size(), 2u);
  EXPECT_EQ(sink[0].kind, 11);
  EXPECT_EQ(sink[0].param1, static_cast<unsigned>(EBUSY));
  EXPECT_STREQ(sink[1].GetText(), Expected(102, path_).c_str());
  EXPECT_EQ(sink[1].kind, 3);
  EXPECT_EQ(sink[1].param1, 102u);
  first.Close();
  // Shared opens share; an unshared one is refused while they hold it.
  ASSERT_EQ(first.Open(path_.c_str(), "rs"), 1);
  ASSERT_EQ(second.Open(path_.c_str(), "RS"), 1);
  CFileBase third;
  EXPECT_EQ(ThrownText([&] { third.Open(path_.c_str(), "w"); }), Expected(102, path_));
  first.Close();
  second.Close();
  ASSERT_EQ(third.Open(path_.c_str(), "w"), 1);
  EXPECT_EQ(ThrownText([&] { first.Open(path_.c_str(), "rs"); }), Expected(102, path_));
}

TEST_F(FileBaseTest, RawOpenTakesWindowsNumbers) {
  PutBytes(path_, Pattern(30));
  CFileBase f;
  EXPECT_EQ(f.Open(path_.c_str(), CFileBase::GenericRead, CFileBase::ShareRead, CFileBase::OpenExisting), 1);
  EXPECT_EQ(f.GetLength(), 30);
  EXPECT_EQ(f.AttributeRead(), 1);
  f.Close();
  EXPECT_EQ(f.Open(path_.c_str(), CFileBase::GenericWrite, 0, CFileBase::CreateAlways), 1);
  EXPECT_EQ(f.GetLength(), 0);
  f.Close();
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), CFileBase::GenericRead, 0, CFileBase::CreateNew); }),
            Expected(102, path_));
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), CFileBase::GenericRead, 0, 9u); }), Expected(102, path_));
}

// --- writing, reading and the cache ----------------------------------------------------

TEST_F(FileBaseTest, AppendsGatherInTheCacheUntilWrittenBack) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  const Buffer ten = Pattern(10);
  EXPECT_EQ(f.Write(ten.data(), 10), 0);
  EXPECT_EQ(f.Write(ten.data(), 10), 10);
  EXPECT_EQ(f.GetLength(), 20);
  EXPECT_EQ(SizeOnDisk(path_), 0); // still in the cache
  EXPECT_EQ(f.Flush(), 1);
  EXPECT_EQ(SizeOnDisk(path_), 20);
  // A write past the end fills the gap with zeros first.
  EXPECT_EQ(f.Write("wxyz", 4, 100), 100);
  EXPECT_EQ(f.GetLength(), 104);
  // A record that would run past the cache's 16,384 bytes restarts it; the
  // bytes before it go to the file.
  const Buffer almost = Pattern(CFileBase::CacheSize - 105);
  ASSERT_EQ(f.Write(almost.data(), almost.size(), 104), 104);
  EXPECT_EQ(SizeOnDisk(path_), 20);
  ASSERT_EQ(f.Write("!!", 2), CFileBase::CacheSize - 1);
  EXPECT_EQ(SizeOnDisk(path_), CFileBase::CacheSize - 1);
  ASSERT_EQ(f.SetLength(104), 1);
  f.Close();
  const Buffer bytes = Bytes(path_);
  ASSERT_EQ(bytes.size(), 104u);
  EXPECT_EQ(Buffer(bytes.begin(), bytes.begin() + 10), ten);
  EXPECT_EQ(Buffer(bytes.begin() + 20, bytes.begin() + 100), Buffer(80, 0));
  EXPECT_EQ(Buffer(bytes.begin() + 100, bytes.end()), (Buffer{'w', 'x', 'y', 'z'}));
}

TEST_F(FileBaseTest, CacheBoundaries) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  // 5,000 four-byte records: the cache fills at 16,384 and restarts.
  for (unsigned int i = 0; i < 5000; ++i)
    ASSERT_EQ(f.Write(&i, 4), static_cast<long long>(4 * i));
  // Bytes still dirty in the cache read back before any write-back.
  unsigned int value = 0;
  ASSERT_EQ(f.Read(&value, 4, 4 * 4999), 1);
  EXPECT_EQ(value, 4999u);
  // A record straddling 16,384.
  const long long straddle = 16382;
  unsigned char raw[4];
  ASSERT_EQ(f.Read(raw, 4, straddle), 1);
  const unsigned int a = 4095, b = 4096;
  EXPECT_EQ(std::memcmp(raw, reinterpret_cast<const unsigned char*>(&a) + 2, 2), 0);
  EXPECT_EQ(std::memcmp(raw + 2, &b, 2), 0);
  // Sequential default-position reads continue where the last one stopped.
  ASSERT_EQ(f.SetPosRead(0), 1);
  for (unsigned int i = 0; i < 5000; ++i) {
    ASSERT_EQ(f.Read(&value, 4), 1);
    ASSERT_EQ(value, i);
  }
  EXPECT_EQ(f.GetPosRead(), 20000);
  // A read straight after a large uncached write sees the new bytes, though
  // the cache held the old ones.
  ASSERT_EQ(f.Read(&value, 4, 100), 1);
  const Buffer big = Pattern(40000, 3);
  ASSERT_EQ(f._Write(big.data(), big.size(), 0), 0);
  unsigned char got[8];
  ASSERT_EQ(f.Read(got, 8, 100), 1);
  EXPECT_EQ(std::memcmp(got, big.data() + 100, 8), 0);
  EXPECT_EQ(f.CheckCache(), 1);
  // Reading 8 bytes at length - 4 runs past the end.
  EXPECT_EQ(ThrownText([&] { f.Read(got, 8, f.GetLength() - 4); }), Expected(110, path_));
  f.Close();
  EXPECT_EQ(Bytes(path_), big);
}

// Random transfers of every kind against a plain byte vector; positions
// cluster around multiples of the cache size.
TEST_F(FileBaseTest, RandomTransfersMatchAByteModel) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::mt19937 rng(seed);
    auto pick = [&](long long lo, long long hi) { return std::uniform_int_distribution<long long>(lo, hi)(rng); };
    auto position = [&](long long limit) {
      if (limit > 0 && pick(0, 2) == 0) {
        const long long k = pick(0, limit / CFileBase::CacheSize) * CFileBase::CacheSize + pick(-6, 6);
        return std::max(0LL, std::min(k, limit));
      }
      return pick(0, limit);
    };
    auto size = [&] { return pick(0, 5) == 0 ? pick(16000, 40000) : pick(1, 64); };
    Buffer model;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
    for (int step = 0; step < 1500; ++step) {
      const long long len = static_cast<long long>(model.size());
      const int op = static_cast<int>(pick(0, 9));
      if (op <= 3) { // write: cached or not, appended, inside, or past the end
        const long long n = size();
        const long long at = pick(0, 3) == 0 ? -1 : position(len + 40);
        const Buffer data = Pattern(static_cast<std::size_t>(n), static_cast<unsigned>(step));
        const long long where = at == -1 ? len : at;
        const long long got = op == 3 ? f._Write(data.data(), data.size(), at) : f.Write(data.data(), data.size(), at);
        ASSERT_EQ(got, where) << "seed " << seed << " step " << step;
        if (static_cast<long long>(model.size()) < where + n)
          model.resize(static_cast<std::size_t>(where + n), 0);
        std::copy(data.begin(), data.end(), model.begin() + where);
      } else if (op <= 7 && len > 0) { // read: cached or not, positioned or sequential
        long long n = std::min(size(), len);
        long long at = position(len - n);
        if (op == 6 && f.GetPosRead() + n <= len) {
          at = -1;
        }
        const long long from = at == -1 ? f.GetPosRead() : at;
        Buffer got(static_cast<std::size_t>(n));
        const unsigned char ok = op == 7 ? f._Read(got.data(), got.size(), at) : f.Read(got.data(), got.size(), at);
        ASSERT_EQ(ok, 1) << "seed " << seed << " step " << step;
        ASSERT_TRUE(std::equal(got.begin(), got.end(), model.begin() + from)) << "seed " << seed << " step " << step;
        ASSERT_EQ(f.GetPosRead(), from + n);
      } else if (op == 8) {
        const int which = static_cast<int>(pick(0, 3));
        if (which == 0) {
          if (pick(0, 7) == 0) // durable flushes are slow on a busy disk
            ASSERT_EQ(f.Flush(), 1);
        } else if (which == 1 && len > 0) {
          const long long to = position(len);
          ASSERT_EQ(f.SetLength(to), 1);
          model.resize(static_cast<std::size_t>(to));
        } else if (which == 2) {
          const long long n = pick(0, 20000);
          ASSERT_EQ(f.Add(static_cast<unsigned long long>(n)), len);
          model.resize(model.size() + static_cast<std::size_t>(n), 0);
        } else {
          ASSERT_EQ(f.SetPosRead(position(len)), 1);
        }
      }
      ASSERT_EQ(f.GetLength(), static_cast<long long>(model.size()));
      ASSERT_EQ(f.CheckCache(), 1) << "seed " << seed << " step " << step;
    }
    f.Close();
    ASSERT_EQ(Bytes(path_), model) << "seed " << seed;
  }
}

TEST_F(FileBaseTest, AccessIsCheckedBeforeTheCache) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  f.Write("abcd", 4);
  unsigned char got[4];
  // The bytes lie in the cache, but the file was not opened for reading.
  EXPECT_EQ(ThrownText([&] { f.Read(got, 4, 0); }), Expected(104, path_));
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  ASSERT_EQ(f.Read(got, 4, 0), 1);
  EXPECT_EQ(ThrownText([&] { f.Write("x", 1, 0); }), Expected(103, path_));
  EXPECT_EQ(ThrownText([&] { f._Write("x", 1, 0); }), Expected(103, path_));
  EXPECT_EQ(f.CheckCache(), 1);
  f.Close();
  EXPECT_EQ(Bytes(path_), (Buffer{'a', 'b', 'c', 'd'}));
  // Not open: silent 0 / -1; Close, Delete and Flush report success.
  CFileBase closed;
  EXPECT_EQ(closed.Read(got, 4), 0);
  EXPECT_EQ(closed._Read(got, 4), 0);
  EXPECT_EQ(closed.Write(got, 4), -1);
  EXPECT_EQ(closed._Write(got, 4), -1);
  EXPECT_EQ(closed.Add(3), -1);
  EXPECT_EQ(closed.SetPosRead(0), 0);
  EXPECT_EQ(closed.SetLength(0), 0);
  EXPECT_EQ(closed.Close(), 1);
  EXPECT_EQ(closed.Delete(), 1);
  EXPECT_EQ(closed.Flush(), 1);
}

TEST_F(FileBaseTest, LengthOnlyShortens) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  const Buffer data = Pattern(100);
  f.Write(data.data(), data.size());
  EXPECT_EQ(ThrownText([&] { f.SetLength(101); }), Expected(112, path_));
  ASSERT_EQ(f.SetLength(60), 1);
  EXPECT_EQ(f.GetLength(), 60);
  EXPECT_EQ(f.GetPosRead(), 0);
  EXPECT_EQ(SizeOnDisk(path_), 60);
  ASSERT_EQ(f.Add(5), 60);
  f.Close();
  Buffer expected(data.begin(), data.begin() + 60);
  expected.resize(65, 0);
  EXPECT_EQ(Bytes(path_), expected);
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  PutBytes(path_, Pattern(7)); // changed behind the object's back
  EXPECT_EQ(f.SetFileSize(), 7);
}

TEST_F(FileBaseTest, StringLayoutsByteForByte) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  // The first prefixed string of an empty file lands at 0 and reports failure.
  EXPECT_EQ(f.WriteString("abc", 2), 0);
  EXPECT_EQ(f.GetLength(), 2);
  EXPECT_EQ(f.WriteString("abc", 1), 1);
  const std::string long300(300, 'q');
  EXPECT_EQ(f.WriteString(long300.c_str(), 1), 1);
  EXPECT_EQ(f.WriteString("hi", 4), 1);
  EXPECT_EQ(f.WriteString(nullptr, 0), 1);
  EXPECT_EQ(f.WriteString("", 7), 1);
  f.Close();
  Buffer expected = {3, 0, 3, 'a', 'b', 'c', 255};
  expected.insert(expected.end(), 255, 'q');
  expected.insert(expected.end(), {2, 0, 0, 0, 'h', 'i', 0, 0, 0});
  EXPECT_EQ(Bytes(path_), expected);

  CFileBase g;
  ASSERT_EQ(g.Open(path_.c_str(), "w"), 1);
  EXPECT_EQ(g.WriteString("abc", 0), 1);
  g.Close();
  EXPECT_EQ(Bytes(path_), (Buffer{'a', 'b', 'c', 0}));
}

TEST_F(FileBaseTest, StringsReadBackInBothFormsAndCutToTheBuffer) {
  std::mt19937 rng(7);
  const int types[] = {0, 1, 2, 4};
  std::vector<std::pair<int, std::string>> written;
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("....", 4); // keeps every string off position 0
  for (int i = 0; i < 300; ++i) {
    const int type = types[rng() % 4];
    std::string text(rng() % (i % 50 == 0 ? 70000 : 40), 'x');
    for (char& c : text)
      c = static_cast<char>('a' + rng() % 26);
    ASSERT_EQ(f.WriteString(text.c_str(), type), 1);
    const std::size_t limit = type == 1 ? 255 : type == 0 || type == 4 ? text.size() : 65535;
    written.emplace_back(type, text.substr(0, limit));
  }
  ASSERT_EQ(f.SetPosRead(4), 1);
  for (const auto& [type, text] : written) {
    std::vector<char> out;
    ASSERT_EQ(f.ReadString(out, type), 1);
    ASSERT_EQ(std::string(out.data()), text);
    ASSERT_EQ(out.size(), text.size() + 1);
  }
  EXPECT_EQ(f.GetPosRead(), f.GetLength());
  // The buffer form cuts, terminates and still consumes the whole string.
  ASSERT_EQ(f.SetPosRead(4), 1);
  for (const auto& [type, text] : written) {
    char small[9];
    const int n = f.ReadString(small, sizeof small, type);
    ASSERT_EQ(n, static_cast<int>(std::min<std::size_t>(text.size(), 8)));
    ASSERT_EQ(std::string(small), text.substr(0, 8));
  }
  EXPECT_EQ(f.GetPosRead(), f.GetLength());
  char none[1] = {'z'};
  EXPECT_EQ(f.ReadString(none, 0, 1, 4 + 0), 0);
  EXPECT_EQ(none[0], 'z');
}

TEST_F(FileBaseTest, VectorAndWideningReads) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  const unsigned short words[5] = {0, 1, 0xFFFF, 0x1234, 77};
  const float floats[4] = {1.5f, -0.1f, 3e38f, 0.0f};
  f.Write(words, sizeof words);
  f.Write(floats, sizeof floats);
  const unsigned int n = 3;
  f.Write(&n, 4);
  f.Write("xyz", 3);
  unsigned int wide[5];
  ASSERT_EQ(f.ReadWordToInt(wide, 5, 0), 1);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(wide[i], words[i]);
  double dbl[4];
  ASSERT_EQ(f.ReadFloatToDbl(dbl, 4), 1);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(dbl[i], static_cast<double>(floats[i]));
  std::vector<char> chars;
  ASSERT_EQ(f.Read(chars), 1);
  EXPECT_EQ(std::string(chars.begin(), chars.end()), "xyz");
  // A count larger than the rest of the file is refused before allocating.
  const unsigned int huge = 0xFFFFFFF0u;
  f.Write(&huge, 4);
  const long long at = f.GetLength() - 4;
  EXPECT_EQ(ThrownText([&] { f.Read(chars, at); }), Expected(110, path_));
  EXPECT_EQ(std::string(chars.begin(), chars.end()), "xyz");
}

TEST_F(FileBaseTest, FilesAppendFilesAndThemselves) {
  const std::string other = dir_.File("other");
  PutBytes(other, Pattern(50000, 9));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("head", 4);
  ASSERT_EQ(f.AddFile(other.c_str()), 1);
  EXPECT_EQ(f.AddFile(dir_.File("missing").c_str()), 0);
  ASSERT_EQ(f.AddFileBase(f, 0, 10), 1); // a part of itself
  f.Close();
  Buffer expected = {'h', 'e', 'a', 'd'};
  const Buffer tail = Pattern(50000, 9);
  expected.insert(expected.end(), tail.begin(), tail.end());
  expected.insert(expected.end(), expected.begin(), expected.begin() + 10);
  EXPECT_EQ(Bytes(path_), expected);
}

TEST_F(FileBaseTest, CopiesShareTheFileButNotEachOthersCache) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("abcdef", 6);
  {
    CFileBase copy(f);
    EXPECT_EQ(copy.GetLength(), 6);
    EXPECT_EQ(copy.GetSink(), nullptr);
    EXPECT_NE(copy.GetHandle(), f.GetHandle());
    EXPECT_EQ(SizeOnDisk(path_), 6); // the copy wrote the waiting bytes
  }
  f.Write("XY", 2, 0); // the copy's destruction must not undo this
  unsigned char got[6];
  ASSERT_EQ(f.Read(got, 6, 0), 1);
  EXPECT_EQ(std::memcmp(got, "XYcdef", 6), 0);
  ASSERT_EQ(f.Delete(), 1);
  EXPECT_EQ(SizeOnDisk(path_), -1);
}

// --- errors, in both reporting modes -----------------------------------------------

// Replaces system table entries for one scenario.
struct FailingSystem {
  platform::ScopedCalls saved;
};

int Fail(unsigned code) {
  SetLastError(code);
  return 0;
}

struct ErrorCase {
  unsigned int id;
  bool systemText;           // a kind-11 text precedes the message
  long long failure;         // what the operation returns with a sink
  std::function<long long(CFileBase&, CPhrase*, const std::string&)> run;
};

std::vector<ErrorCase> ErrorCases() {
  return {
      {101, false, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "w", s);
         return f.Open((p + "2").c_str(), "w", s);
       }},
      {102, true, 0, [](CFileBase& f, CPhrase* s, const std::string& p) { return f.Open((p + ".no").c_str(), "r", s); }},
      {103, false, -1,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         return f.Write("x", 1);
       }},
      {104, false, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "a", s);
         unsigned char b;
         return static_cast<long long>(f.Read(&b, 1, 0));
       }},
      {105, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         platform::Calls().fileReadAt = [](void*, void*, std::size_t, std::int64_t) -> std::int64_t { return Fail(EIO) - 1; };
         unsigned char b[4];
         return static_cast<long long>(f.Read(b, 4, 0));
       }},
      {106, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         return static_cast<long long>(f.SetPosRead(-5));
       }},
      {107, true, -1,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "w", s);
         platform::Calls().fileWriteAt = [](void*, const void*, std::size_t, std::int64_t) -> std::int64_t {
           return Fail(ENOSPC) - 1;
         };
         const Buffer big(20000, 1);
         return f.Write(big.data(), big.size());
       }},
      {108, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         platform::Calls().fileSize = [](void*, std::int64_t&) { return Fail(EIO) != 0; };
         return static_cast<long long>(f.Open(p.c_str(), "r", s));
       }},
      {109, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         platform::Calls().fileSync = [](void*) { return Fail(EIO) != 0; };
         return static_cast<long long>(f.Flush());
       }},
      {110, false, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         unsigned char b[8];
         return static_cast<long long>(f.Read(b, 8, f.GetLength() - 4));
       }},
      {112, false, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "a", s);
         return static_cast<long long>(f.SetLength(f.GetLength() + 1));
       }},
      {113, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "a", s);
         platform::Calls().fileTruncate = [](void*, std::int64_t) { return Fail(EIO) != 0; };
         return static_cast<long long>(f.SetLength(1));
       }},
      {131, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         platform::Calls().fileClose = [](void* h) {
           platform::DefaultCalls().fileClose(h);
           return Fail(EIO) != 0;
         };
         return static_cast<long long>(f.Close());
       }},
      {132, true, 0,
       [](CFileBase& f, CPhrase* s, const std::string& p) {
         f.Open(p.c_str(), "r", s);
         platform::Calls().fileRemove = [](const char*) { return Fail(EACCES) != 0; };
         return static_cast<long long>(f.Delete());
       }},
  };
}

TEST_F(FileBaseTest, EveryErrorIsThrownOrCollected) {
  for (const ErrorCase& c : ErrorCases()) {
    SCOPED_TRACE(c.id);
    const std::string expected = Expected(c.id, c.id == 102 ? path_ + ".no" : path_);
    {
      PutBytes(path_, Pattern(16));
      FailingSystem failing;
      CFileBase f;
      EXPECT_EQ(ThrownText([&] { c.run(f, nullptr, path_); }), expected);
      EXPECT_EQ(f.CheckCache(), 1);
    }
    {
      PutBytes(path_, Pattern(16));
      FailingSystem failing;
      CPhrase sink;
      CFileBase f;
      EXPECT_EQ(c.run(f, &sink, path_), c.failure);
      ASSERT_EQ(sink.size(), c.systemText ? 2u : 1u);
      EXPECT_EQ(sink.back().kind, 3);
      EXPECT_EQ(sink.back().param1, c.id);
      EXPECT_EQ(std::string(sink.back().GetText()), expected);
      if (c.systemText) {
        EXPECT_EQ(sink.front().kind, 11);
        EXPECT_EQ(std::string(sink.front().GetText()), platform::SystemErrorText(sink.front().param1));
      }
      EXPECT_EQ(f.GetErrorCount(), 1u);
    }
  }
}

TEST_F(FileBaseTest, CrashFlagThrowsWithASinkAndSurvivesClose) {
  PutBytes(path_, Pattern(16));
  CPhrase sink;
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "a", &sink, 1), 1);
  EXPECT_EQ(ThrownText([&] { f.SetLength(100); }), Expected(112, path_));
  ASSERT_EQ(sink.size(), 1u);
  f.Close();
  EXPECT_EQ(f.GetSink(), nullptr);
  EXPECT_EQ(f.GetCrash(), 1);
  // A failing open is reported under the flag of the previous use.
  const std::string missing = dir_.File("missing");
  EXPECT_EQ(ThrownText([&] { f.Open(missing.c_str(), "r", &sink, 0); }), Expected(102, missing));
  EXPECT_EQ(sink.back().param1, 102u);
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink, 0), 1);
  f.Close();
  EXPECT_EQ(f.Open(missing.c_str(), "r", &sink, 0), 0);
}

TEST_F(FileBaseTest, RussianTextsInTheSink) {
  ScopedLanguage russian(LanguageRussian);
  CPhrase sink;
  CFileBase f;
  const std::string missing = dir_.File("missing");
  EXPECT_EQ(f.Open(missing.c_str(), "r", &sink), 0);
  EXPECT_EQ(std::string(sink.back().GetText()), Expected(102, missing));
  EXPECT_NE(std::string(sink.back().GetText()).find(missing), std::string::npos);
}

// --- the system misbehaving -----------------------------------------------------------

TEST_F(FileBaseTest, InterruptionsAndPartialTransfersAreRetried) {
  FailingSystem failing;
  static int calls = 0;
  calls = 0;
  // Every other call is interrupted; the others move at most 3 bytes.
  platform::Calls().fileReadAt = [](void* h, void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    if (++calls % 2 == 1)
      return Fail(EINTR) - 1;
    return platform::DefaultCalls().fileReadAt(h, b, std::min<std::size_t>(n, 3), at);
  };
  platform::Calls().fileWriteAt = [](void* h, const void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    if (++calls % 2 == 1)
      return Fail(EINTR) - 1;
    return platform::DefaultCalls().fileWriteAt(h, b, std::min<std::size_t>(n, 3), at);
  };
  const Buffer data = Pattern(30000);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  ASSERT_EQ(f.Write(data.data(), data.size()), 0);
  Buffer got(data.size());
  ASSERT_EQ(f.Read(got.data(), got.size(), 0), 1);
  EXPECT_EQ(got, data);
  EXPECT_GT(calls, 20000);
  f.Close();
  EXPECT_EQ(Bytes(path_), data);
}

TEST_F(FileBaseTest, FailedWritesDoNotAdvanceTheLength) {
  FailingSystem failing;
  CPhrase sink;
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw", &sink), 1);
  f.Write("abcd", 4);
  // The disk fills after 10 more bytes.
  platform::Calls().fileWriteAt = [](void* h, const void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    if (at + static_cast<std::int64_t>(n) > 14)
      n = at < 14 ? static_cast<std::size_t>(14 - at) : 0;
    if (n == 0)
      return Fail(ENOSPC) - 1;
    return platform::DefaultCalls().fileWriteAt(h, b, n, at);
  };
  const Buffer big(20000, 7);
  EXPECT_EQ(f.Write(big.data(), big.size()), -1);
  EXPECT_EQ(f.GetLength(), 4);
  EXPECT_STREQ(sink.front().GetText(), "No space left on device");
  unsigned char got[4];
  ASSERT_EQ(f.Read(got, 4, 0), 1);
  EXPECT_EQ(std::memcmp(got, "abcd", 4), 0);
}

// 4 GB and more go to the system in pieces of 0xFFFFEFFF bytes; below that
// in one request. The buffer is an untouched reservation.
TEST_F(FileBaseTest, HugeTransfersGoInPieces) {
  constexpr unsigned long long FourGB = 1ull << 32;
  void* reserve = ::mmap(nullptr, FourGB + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserve == MAP_FAILED)
    GTEST_SKIP() << "no address space for the reservation";
  PutBytes(path_, {});
  ASSERT_EQ(::truncate(path_.c_str(), static_cast<off_t>(FourGB + 100)), 0);
  static std::vector<std::pair<std::size_t, std::int64_t>> requests;
  requests.clear();
  FailingSystem failing;
  platform::Calls().fileReadAt = [](void*, void*, std::size_t n, std::int64_t at) -> std::int64_t {
    requests.emplace_back(n, at);
    return static_cast<std::int64_t>(n);
  };
  platform::Calls().fileWriteAt = [](void*, const void*, std::size_t n, std::int64_t at) -> std::int64_t {
    requests.emplace_back(n, at);
    return static_cast<std::int64_t>(n);
  };
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "ra"), 1);
  ASSERT_EQ(f.Read(reserve, FourGB + 10, 0), 1);
  using R = std::vector<std::pair<std::size_t, std::int64_t>>;
  EXPECT_EQ(requests, (R{{0xFFFFEFFFu, 0}, {0x100Bu, 0xFFFFEFFF}}));
  requests.clear();
  ASSERT_EQ(f._Read(reserve, FourGB - 1, 1), 1);
  EXPECT_EQ(requests, (R{{FourGB - 1, 1}}));
  requests.clear();
  ASSERT_EQ(f.Write(reserve, FourGB, 50), 50);
  EXPECT_EQ(requests, (R{{0xFFFFEFFFu, 50}, {0x1001u, 50 + 0xFFFFEFFFll}}));
  EXPECT_EQ(f.GetLength(), static_cast<long long>(FourGB + 100));
  f.Close();
  ::munmap(reserve, FourGB + 4096);
}

// --- the mark ----------------------------------------------------------------------

// What the work-file layer does with the protected interface.
class MarkedFile : public CFileBase {
public:
  using CFileBase::_ReadRaw;
  void UseMark() {
    SetMarkSize(MarkBytes);
    SetLengthField(GetLength() - MarkBytes);
    SetPositionField(-1);
    SetPosReadField(0);
  }
};

TEST_F(FileBaseTest, MarkSizeShiftsEveryLogicalPosition) {
  Buffer physical(32, 'M');
  const Buffer data = Pattern(100);
  physical.insert(physical.end(), data.begin(), data.end());
  PutBytes(path_, physical);
  MarkedFile f;
  ASSERT_EQ(f.Open(path_.c_str(), "ra"), 1);
  f.UseMark();
  EXPECT_EQ(f.GetLength(), 100);
  unsigned char got[10];
  ASSERT_EQ(f.Read(got, 10, 0), 1);
  EXPECT_EQ(std::memcmp(got, data.data(), 10), 0);
  ASSERT_EQ(f._Read(got, 10, 90), 1);
  EXPECT_EQ(std::memcmp(got, data.data() + 90, 10), 0);
  EXPECT_EQ(ThrownText([&] { f.SetPosRead(-5); }), Expected(106, path_)); // never reaches the mark
  EXPECT_EQ(f.Write("wxyz", 4), 100);
  ASSERT_EQ(f.Flush(), 1);
  EXPECT_EQ(SizeOnDisk(path_), 136);
  ASSERT_EQ(f.SetLength(50), 1);
  EXPECT_EQ(SizeOnDisk(path_), 82);
  EXPECT_EQ(f.SetFileSize(), 50);
  f.Close();
  const Buffer bytes = Bytes(path_);
  EXPECT_EQ(Buffer(bytes.begin(), bytes.begin() + 32), Buffer(32, 'M'));
  // The mark of a file opened for writing only is still readable beneath
  // the access check.
  MarkedFile w;
  ASSERT_EQ(w.Open(path_.c_str(), "a"), 1);
  unsigned char mark[32];
  EXPECT_EQ(ThrownText([&] { w.Read(mark, 32, 0); }), Expected(104, path_));
  ASSERT_EQ(w._ReadRaw(mark, 32, 0), 1);
  EXPECT_EQ(Buffer(mark, mark + 32), Buffer(32, 'M'));
}

} // namespace
} // namespace zel
