#include "zeltools/files/file_base.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <random>
#include <filesystem>
#include <string>
#include <utility>
#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#endif
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::FileMessage;
using test::PutBytes;
using test::SizeOnDisk;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;
using FileBaseTest = test::FileTest;

Buffer Pattern(std::size_t n, unsigned seed = 1) {
  Buffer b(n);
  for (std::size_t i = 0; i < n; ++i)
    b[i] = static_cast<unsigned char>((i * 131 + seed * 7 + (i >> 8)) & 0xFF);
  return b;
}

// For replaced system calls: sets the last error and returns -1.
int Fail(unsigned code) {
  SetLastError(code);
  return -1;
}

TEST_F(FileBaseTest, ModeLettersChooseAccessAndWhetherTheContentsAreKept) {
  struct Case {
    const char* mode;
    unsigned char read, write;
    long long length;
  };
  // Any case; only the first 8 letters count (the ninth "w" is ignored).
  for (const Case& c : {Case{"r", 1, 0, 20}, Case{"a", 0, 1, 20}, Case{"Rb+", 1, 1, 20}, Case{"rrrrrrrrw", 1, 0, 20},
                        Case{"w", 0, 1, 0}}) {
    PutBytes(path_, Pattern(20));
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), c.mode), 1) << c.mode;
    EXPECT_EQ(f.AttributeRead() * 2 + f.AttributeWrite(), c.read * 2 + c.write) << c.mode;
    EXPECT_EQ(f.GetLength(), c.length) << c.mode;
    EXPECT_EQ(f.GetPosRead(), 0);
    f.Close();
    EXPECT_EQ(SizeOnDisk(path_), c.length) << c.mode;
  }
  const std::string missing = dir_.File("missing");
  CFileBase f;
  ASSERT_EQ(f.Open(missing.c_str(), "a"), 1); // writing creates
  f.Close();
  EXPECT_EQ(SizeOnDisk(missing), 0);
  PutBytes(path_, Pattern(20));
  EXPECT_EQ(f.Open(path_.c_str(), CFileBase::GenericRead, CFileBase::ShareRead, CFileBase::OpenExisting), 1);
  EXPECT_EQ(f.GetLength(), 20);
  f.Close();
  EXPECT_EQ(f.Open(path_.c_str(), CFileBase::GenericWrite, 0, CFileBase::CreateAlways), 1);
  EXPECT_EQ(f.GetLength(), 0);
  f.Close();
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), CFileBase::GenericRead, 0, CFileBase::CreateNew); }),
            FileMessage(102, path_));
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), CFileBase::GenericRead, 0, 9u); }), FileMessage(102, path_));
  // Not open: silent failures, except Close, Delete and Flush.
  unsigned char got[4];
  EXPECT_EQ(f.Read(got, 4) + f._Read(got, 4) + f.SetPosRead(0) + f.SetLength(0), 0);
  EXPECT_EQ(f.Write(got, 4) + f._Write(got, 4) + f.Add(3), -3);
  EXPECT_EQ(f.Close() + f.Delete() + f.Flush(), 3);
  // A second open on one object fails and keeps the first file and its state.
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  f.Write("abcd", 4);
  CPhrase sink;
  EXPECT_EQ(f.Open(missing.c_str(), "r", &sink), 0);
  EXPECT_EQ(std::string(sink.back().GetText()), FileMessage(101, path_));
  EXPECT_STREQ(f.GetFileName(), path_.c_str());
  EXPECT_EQ(f.GetSink(), nullptr);
  f.Close();
  EXPECT_EQ(Bytes(path_), (Buffer{'a', 'b', 'c', 'd'}));
}

TEST_F(FileBaseTest, SharedOpensShareAndUnsharedOnesExcludeEachOther) {
  PutBytes(path_, Pattern(8));
  CFileBase first, second, third;
  ASSERT_EQ(first.Open(path_.c_str(), "rs"), 1);
  ASSERT_EQ(second.Open(path_.c_str(), "RS"), 1);
  EXPECT_EQ(ThrownText([&] { third.Open(path_.c_str(), "w"); }), FileMessage(102, path_));
  first.Close();
  second.Close();
  ASSERT_EQ(third.Open(path_.c_str(), "w"), 1);
  EXPECT_EQ(ThrownText([&] { first.Open(path_.c_str(), "rs"); }), FileMessage(102, path_));
}

// A run of small appended records reaches the system once per 16 KB.
TEST_F(FileBaseTest, SmallAppendsGatherInTheCache) {
  platform::ScopedCalls saved;
  static int writes = 0;
  platform::Calls().fileWriteAt = [](void* h, const void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    ++writes;
    return platform::DefaultCalls().fileWriteAt(h, b, n, at);
  };
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  for (unsigned int i = 0; i < 2 * CFileBase::CacheSize / 4; ++i)
    ASSERT_EQ(f.Write(&i, 4), static_cast<long long>(4 * i));
  EXPECT_EQ(writes, 1);
  EXPECT_EQ(SizeOnDisk(path_), CFileBase::CacheSize);
  f.Close();
  EXPECT_EQ(writes, 2);
  EXPECT_EQ(SizeOnDisk(path_), 2 * CFileBase::CacheSize);
}

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

// Random transfers of every kind against a plain byte vector; positions
// cluster around multiples of the cache size. Every other run sits behind a
// work-file mark, which no logical position reaches.
TEST_F(FileBaseTest, RandomTransfersMatchAByteModel) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    std::mt19937 rng(seed);
    auto pick = [&](long long lo, long long hi) { return std::uniform_int_distribution<long long>(lo, hi)(rng); };
    auto position = [&](long long limit) {
      if (limit > 0 && pick(0, 2) == 0)
        return std::clamp(pick(0, limit / CFileBase::CacheSize) * CFileBase::CacheSize + pick(-6, 6), 0LL, limit);
      return pick(0, limit);
    };
    auto size = [&] { return pick(0, 5) == 0 ? pick(16000, 40000) : pick(1, 64); };
    Buffer model;
    MarkedFile f;
    const Buffer mark(seed % 2 == 0 ? CFileBase::MarkBytes : 0, 'M');
    PutBytes(path_, mark);
    ASSERT_EQ(f.Open(path_.c_str(), "ra"), 1);
    if (!mark.empty())
      f.UseMark();
    for (int step = 0; step < 1500; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const long long len = static_cast<long long>(model.size());
      const int op = static_cast<int>(pick(0, 10));
      if (op <= 3) { // write: cached or not, appended, inside, or past the end
        const Buffer data = Pattern(static_cast<std::size_t>(size()), static_cast<unsigned>(step));
        const long long at = pick(0, 3) == 0 ? -1 : position(len + 40), where = at == -1 ? len : at;
        ASSERT_EQ(op == 3 ? f._Write(data.data(), data.size(), at) : f.Write(data.data(), data.size(), at), where);
        model.resize(std::max(model.size(), static_cast<std::size_t>(where) + data.size()));
        std::copy(data.begin(), data.end(), model.begin() + where);
      } else if (op <= 7 && len > 0) { // read: cached or not, positioned or sequential
        const long long n = std::min(size(), len);
        const long long at = op == 6 && f.GetPosRead() + n <= len ? -1 : position(len - n);
        const long long from = at == -1 ? f.GetPosRead() : at;
        Buffer got(static_cast<std::size_t>(n));
        ASSERT_EQ(op == 7 ? f._Read(got.data(), got.size(), at) : f.Read(got.data(), got.size(), at), 1);
        ASSERT_TRUE(std::equal(got.begin(), got.end(), model.begin() + from));
        ASSERT_EQ(f.GetPosRead(), from + n);
      } else if (op == 8 && len > 0 && pick(0, 1) == 0) {
        const long long to = position(len);
        ASSERT_EQ(f.SetLength(to), 1);
        model.resize(static_cast<std::size_t>(to));
      } else if (op == 8) {
        const long long n = pick(0, 20000);
        ASSERT_EQ(f.Add(static_cast<unsigned long long>(n)), len);
        model.resize(model.size() + static_cast<std::size_t>(n), 0);
      } else if (op == 9 && len > 0) { // a part of itself appended
        const long long from = position(len - 1), n = std::min(size(), len - from);
        ASSERT_EQ(f.AddFileBase(f, from, n), 1);
        const Buffer part(model.begin() + from, model.begin() + from + n);
        model.insert(model.end(), part.begin(), part.end());
      } else if (op == 10) {
        const long long which = pick(0, 15);
        if (which == 0) // durable flushes are slow on a busy disk
          ASSERT_EQ(f.Flush(), 1);
        else if (which == 1)
          ASSERT_EQ(f.SetFileSize(), len);
        else if (const long long to = position(len); true) { // set, or moved back (or on) from where it stands
          ASSERT_EQ(which == 2 ? f.SetPosReadBack(f.GetPosRead() - to) : f.SetPosRead(to), 1);
          ASSERT_EQ(f.GetPosRead(), to);
        }
      }
      ASSERT_EQ(f.GetLength(), static_cast<long long>(model.size()));
      ASSERT_EQ(f.CheckCache(), 1);
    }
    f.Close();
    model.insert(model.begin(), mark.begin(), mark.end());
    ASSERT_EQ(Bytes(path_), model) << "seed " << seed;
  }
}

TEST_F(FileBaseTest, StringLayoutsByteForByte) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  // The first prefixed string of an empty file lands at 0 and reports failure.
  EXPECT_EQ(f.WriteString("abc", 2), 0);
  const std::string longText(300, 'q');
  for (const auto& [text, type] : {std::pair<const char*, int>{"abc", 1}, {longText.c_str(), 1}, {"hi", 4},
                                   {nullptr, 0}, {"", 7}, {"abc", 0}})
    EXPECT_EQ(f.WriteString(text, type), 1) << type;
  f.Close();
  Buffer expected = {3, 0, 3, 'a', 'b', 'c', 255};
  expected.insert(expected.end(), 255, 'q');
  expected.insert(expected.end(), {2, 0, 0, 0, 'h', 'i', 0, 0, 0, 'a', 'b', 'c', 0});
  EXPECT_EQ(Bytes(path_), expected);
}

// Strings of every layout read back whole, and through a buffer that cuts
// them to 8 characters but still consumes them.
TEST_F(FileBaseTest, StringsRoundTripInEveryLayout) {
  std::mt19937 rng(7);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("....", 4); // keeps every string off position 0
  std::vector<std::pair<int, std::string>> written;
  for (int i = 0; i < 300; ++i) {
    const int type = std::array<int, 4>{0, 1, 2, 4}[rng() % 4];
    std::string text(rng() % (i % 50 == 0 ? 70000 : 40), 'x');
    for (char& c : text)
      c = static_cast<char>('a' + rng() % 26);
    ASSERT_EQ(f.WriteString(text.c_str(), type), 1);
    written.emplace_back(type, text.substr(0, type == 1 ? 255 : type == 2 ? 65535 : text.size()));
  }
  for (const bool cut : {false, true}) {
    ASSERT_EQ(f.SetPosRead(4), 1);
    for (const auto& [type, text] : written) {
      std::vector<char> out;
      char small[9];
      if (!cut)
        ASSERT_EQ(f.ReadString(out, type), 1);
      else
        ASSERT_EQ(f.ReadString(small, sizeof small, type), static_cast<int>(std::min<std::size_t>(text.size(), 8)));
      ASSERT_EQ(cut ? std::string(small) : std::string(out.begin(), out.end()), cut ? text.substr(0, 8) : text + '\0');
    }
    EXPECT_EQ(f.GetPosRead(), f.GetLength());
  }
}

// Words and floats are widened in place, over the narrow values read into
// the same array; a character vector is its count and its bytes.
TEST_F(FileBaseTest, TypedReadsWidenAndRefuseDamagedCounts) {
  std::mt19937 rng(8);
  std::vector<unsigned short> words(257);
  std::vector<float> floats(131);
  for (auto& w : words)
    w = static_cast<unsigned short>(rng());
  for (auto& x : floats)
    x = std::uniform_real_distribution<float>(-1e30f, 1e30f)(rng);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write(words.data(), 2 * words.size());
  f.Write(floats.data(), 4 * floats.size());
  const unsigned int three = 3, huge = 0xFFFFFFF0u;
  f.Write(&three, 4);
  f.Write("xyz", 3);
  std::vector<unsigned int> wide(words.size());
  ASSERT_EQ(f.ReadWordToInt(wide.data(), 257, 0), 1);
  EXPECT_TRUE(std::equal(wide.begin(), wide.end(), words.begin()));
  std::vector<double> doubles(floats.size());
  ASSERT_EQ(f.ReadFloatToDbl(doubles.data(), 131), 1);
  EXPECT_TRUE(std::equal(doubles.begin(), doubles.end(), floats.begin()));
  std::vector<char> kept;
  ASSERT_EQ(f.Read(kept), 1);
  EXPECT_EQ(std::string(kept.begin(), kept.end()), "xyz");
  // Damaged tails: a length the rest cannot hold, a string without its NUL.
  const long long at = f.GetLength() + 6;
  f.WriteString("hello", 1);
  f.Write(&huge, 4);
  f.Write("abc", 3);
  for (const std::function<void()>& read : std::vector<std::function<void()>>{
           [&] { f.Read(kept, at); }, [&] { f.ReadString(kept, 4, at); }, [&] { f.ReadString(kept, 0, at + 4); }})
    EXPECT_EQ(ThrownText(read), FileMessage(110, path_));
  EXPECT_EQ(std::string(kept.begin(), kept.end()), "xyz");
  char none[1] = {'z'};
  EXPECT_EQ(f.ReadString(none, 0, 1, at - 6), 0);
  EXPECT_EQ(none[0], 'z');
  EXPECT_EQ(f.GetPosRead(), at);
}

TEST_F(FileBaseTest, AppendsOtherFilesAndCopiesShareTheFileButNotTheCache) {
  const std::string other = dir_.File("other");
  PutBytes(other, Pattern(50000, 9));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), ("rw" + test::LookBehind).c_str()), 1);
  f.Write("head", 4);
  ASSERT_EQ(f.AddFile(other.c_str()), 1);
  EXPECT_EQ(f.AddFile(dir_.File("missing").c_str()), 0);
  Buffer expected = Pattern(50000, 9);
  expected.insert(expected.begin(), {'h', 'e', 'a', 'd'});
  {
    CFileBase copy(f);
    EXPECT_EQ(copy.GetLength(), 50004);
    EXPECT_EQ(copy.GetSink(), nullptr);
    EXPECT_EQ(Bytes(path_), expected); // the copy wrote the waiting bytes
  }
  f.Write("XY", 2, 0); // the copy's destruction must not undo this
  unsigned char got[6];
  ASSERT_EQ(f.Read(got, 6, 0), 1);
  EXPECT_EQ(std::memcmp(got, "XYad", 4), 0);
  f.Write("UV", 2, 0);
  {
    CFileBase copy(f); // takes f's waiting "UV" to the file, so f's cache is clean
    copy.Write("zw", 2, 0);
    ASSERT_EQ(copy.Close(), 1);
  }
  ASSERT_EQ(f.Close(), 1);
  EXPECT_EQ(Bytes(path_)[0], 'z'); // the copied object's close must not undo the copy's write
  ASSERT_EQ(f.Open(path_.c_str(), "rwa"), 1);
  ASSERT_EQ(f.Delete(), 1);
  EXPECT_EQ(SizeOnDisk(path_), -1);
}

// --- errors, in both reporting modes -----------------------------------------------

unsigned char scratch[20000];

// Replacements for system calls, failing with a plausible error.
std::int64_t FailRead(void*, void*, std::size_t, std::int64_t) { return Fail(EIO); }
std::int64_t FailWrite(void*, const void*, std::size_t, std::int64_t) { return Fail(platform::ErrorDiskFull); }
bool FailSize(void*, std::int64_t&) { return Fail(EIO) > 0; }
bool FailTruncate(void*, std::int64_t) { return Fail(EIO) > 0; }
bool FailSync(void*) { return Fail(EIO) > 0; }
bool FailSeek(void*, std::int64_t) { return Fail(EIO) > 0; }
platform::SystemCalls& Sys();
bool FailSizeOnce(void* h, std::int64_t& n) {
  Sys().fileSize = platform::DefaultCalls().fileSize;
  return FailSize(h, n);
}
bool FailRemove(const char*) { return Fail(platform::ErrorAccess) > 0; }
bool CloseThenFail(void* h) { return platform::DefaultCalls().fileClose(h) && Fail(EIO) > 0; }
platform::SystemCalls& Sys() { return platform::Calls(); }

using F = CFileBase;
using S = CPhrase*;
using P = const std::string&;

struct ErrorCase {
  unsigned int id;
  const char* mode;  // opened with before `run` (null: `run` opens)
  bool systemText;   // a kind-11 text precedes the message
  long long failure; // what the operation returns with a sink
  long long (*run)(F&, S, P);
};

// clang-format off
const ErrorCase Cases[] = {
  {101, "w", false, 0, [](F& f, S s, P p) -> long long { return f.Open((p + "2").c_str(), "w", s); }},
  {102, nullptr, true, 0, [](F& f, S s, P p) -> long long { std::filesystem::remove(p); return f.Open(p.c_str(), "r", s); }},
  // Another object holds the file without sharing it.
  {102, nullptr, true, 0, [](F& f, S s, P p) -> long long {
     F other; other.Open(p.c_str(), "r"); return f.Open(p.c_str(), "r", s); }},
  {103, "r", false, -1, [](F& f, S, P) { return f.Write("x", 1); }},
  {103, "r", false, -1, [](F& f, S, P) { return f._Write("x", 1, 0); }},
  // The bytes lie in the cache, but the file was not opened for reading.
  {104, "a", false, 0, [](F& f, S, P) -> long long { f.Write("ab", 2, 0); return f.Read(scratch, 1, 0); }},
  {104, "a", false, 0, [](F& f, S, P) -> long long { return f._Read(scratch, 1, 0); }},
  {105, "r", true, 0, [](F& f, S, P) -> long long { Sys().fileReadAt = FailRead; return f.Read(scratch, 4, 0); }},
  {106, "r", true, 0, [](F& f, S, P) -> long long { return f.SetPosRead(-5); }},
  {106, "r", true, 0, [](F& f, S, P) -> long long { return f.SetPosReadBack(LLONG_MIN); }},
  {106, "r", true, 0, [](F& f, S, P) -> long long { Sys().fileSeek = FailSeek; return f.SetPosRead(5); }},
  // Writes the cache must make before the length is read or cut, and zeros appended.
  {107, "a", true, -1, [](F& f, S, P) { f.Write("x", 1); Sys().fileWriteAt = FailWrite; return f.SetFileSize(); }},
  {107, "a", true, 0, [](F& f, S, P) -> long long {
     f.Write("x", 1); Sys().fileWriteAt = FailWrite; return f.SetLength(1); }},
  {107, "a", true, -1, [](F& f, S, P) { Sys().fileWriteAt = FailWrite; return f.Add(20000); }},
  {108, "r", true, -1, [](F& f, S, P) { Sys().fileSize = FailSizeOnce; return f.SetFileSize(); }},
  {107, "w", true, -1, [](F& f, S, P) { Sys().fileWriteAt = FailWrite; return f.Write(scratch, sizeof scratch); }},
  // A deferred write-back fails in the operation that performs it.
  {107, "a", true, 0, [](F& f, S, P) -> long long {
     f.Write("x", 1); Sys().fileWriteAt = FailWrite; return f.Flush(); }},
  {108, nullptr, true, 0, [](F& f, S s, P p) -> long long {
     Sys().fileSize = FailSize; return f.Open(p.c_str(), "r", s); }},
  {109, "r", true, 0, [](F& f, S, P) -> long long { Sys().fileSync = FailSync; return f.Flush(); }},
  {110, "r", false, 0, [](F& f, S, P) -> long long { return f.Read(scratch, 8, 12); }},
  {112, "a", false, 0, [](F& f, S, P) -> long long { return f.SetLength(17); }},
  {113, "a", true, 0, [](F& f, S, P) -> long long { Sys().fileTruncate = FailTruncate; return f.SetLength(1); }},
  {131, "r", true, 0, [](F& f, S, P) -> long long { Sys().fileClose = CloseThenFail; return f.Close(); }},
  {132, "r", true, 0, [](F& f, S, P) -> long long { Sys().fileRemove = FailRemove; return f.Delete(); }},
};
// clang-format on

TEST_F(FileBaseTest, EveryErrorIsThrownOrCollectedInBothLanguages) {
  for (const unsigned short language : {LanguageEnglish, LanguageRussian}) {
    test::ScopedLanguage scoped(language);
    for (const ErrorCase& c : Cases) {
      SCOPED_TRACE(std::to_string(c.id) + " in " + std::to_string(language));
      const std::string expected = FileMessage(c.id, path_);
      for (const bool collect : {false, true}) {
        PutBytes(path_, Pattern(16));
        platform::ScopedCalls saved;
        CPhrase sink;
        CFileBase f;
        if (c.mode != nullptr)
          ASSERT_EQ(f.Open(path_.c_str(), c.mode, collect ? &sink : nullptr), 1);
        if (!collect) {
          EXPECT_EQ(ThrownText([&] { c.run(f, nullptr, path_); }), expected);
          EXPECT_EQ(f.CheckCache(), 1);
          continue;
        }
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
}

TEST_F(FileBaseTest, CrashFlagThrowsWithASinkAndSurvivesClose) {
  PutBytes(path_, Pattern(16));
  CPhrase sink;
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "a", &sink, 1), 1);
  EXPECT_EQ(ThrownText([&] { f.SetLength(100); }), FileMessage(112, path_));
  ASSERT_EQ(sink.size(), 1u);
  f.Close();
  EXPECT_EQ(f.GetCrash(), 1);
  // A failing open is reported under the flag of the previous use.
  const std::string missing = dir_.File("missing");
  EXPECT_EQ(ThrownText([&] { f.Open(missing.c_str(), "r", &sink, 0); }), FileMessage(102, missing));
  EXPECT_EQ(sink.back().param1, 102u);
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink, 0), 1);
  f.Close();
  EXPECT_EQ(f.Open(missing.c_str(), "r", &sink, 0), 0);
}

// --- the system misbehaving -----------------------------------------------------------

TEST_F(FileBaseTest, InterruptionsAndPartialTransfersAreRetried) {
  platform::ScopedCalls saved;
  static int calls = 0;
  // Every other call is interrupted; the others move at most 3 bytes.
  platform::Calls().fileReadAt = [](void* h, void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    return ++calls % 2 == 1 ? Fail(platform::ErrorInterrupted) : platform::DefaultCalls().fileReadAt(h, b, std::min<std::size_t>(n, 3), at);
  };
  platform::Calls().fileWriteAt = [](void* h, const void* b, std::size_t n, std::int64_t at) -> std::int64_t {
    return ++calls % 2 == 1 ? Fail(platform::ErrorInterrupted) : platform::DefaultCalls().fileWriteAt(h, b, std::min<std::size_t>(n, 3), at);
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

// 4 GB and more go to the system in pieces of 0xFFFFEFFF bytes; below that
// in one request. The buffer is an untouched reservation.
TEST_F(FileBaseTest, HugeTransfersGoInPieces) {
  constexpr unsigned long long FourGB = 1ull << 32;
#if defined(_WIN32)
  void* reserve = ::VirtualAlloc(nullptr, FourGB + 4096, MEM_RESERVE, PAGE_NOACCESS);
  if (reserve == nullptr)
#else
  void* reserve = ::mmap(nullptr, FourGB + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserve == MAP_FAILED)
#endif
    GTEST_SKIP() << "no address space for the reservation";
  PutBytes(path_, {});
  std::filesystem::resize_file(path_, FourGB + 100);
  using Requests = std::vector<std::pair<std::size_t, std::int64_t>>;
  static Requests requests;
  platform::ScopedCalls saved;
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
  ASSERT_EQ(f._Read(reserve, FourGB - 1, 1), 1);
  ASSERT_EQ(f.Write(reserve, FourGB, 50), 50);
  EXPECT_EQ(
      requests,
      (Requests{
          {0xFFFFEFFFu, 0}, {0x100Bu, 0xFFFFEFFF}, {FourGB - 1, 1}, {0xFFFFEFFFu, 50}, {0x1001u, 50 + 0xFFFFEFFFll}}));
  EXPECT_EQ(f.GetLength(), static_cast<long long>(FourGB + 100));
  f.Close();
#if defined(_WIN32)
  ::VirtualFree(reserve, 0, MEM_RELEASE);
#else
  ::munmap(reserve, FourGB + 4096);
#endif
}

TEST_F(FileBaseTest, MarkSizeShiftsEveryLogicalPosition) {
  PutBytes(path_, Buffer(32, 'M'));
  MarkedFile f;
  ASSERT_EQ(f.Open(path_.c_str(), "ra"), 1);
  f.UseMark();
  EXPECT_EQ(ThrownText([&] { f.SetPosRead(-5); }), FileMessage(106, path_)); // never reaches the mark
  f.Close();
  // The mark of a file opened for writing only is still readable beneath
  // the access check.
  MarkedFile w;
  ASSERT_EQ(w.Open(path_.c_str(), "a"), 1);
  unsigned char mark[32];
  EXPECT_EQ(ThrownText([&] { w.Read(mark, 32, 0); }), FileMessage(104, path_));
  ASSERT_EQ(w._ReadRaw(mark, 32, 0), 1);
  EXPECT_EQ(Buffer(mark, mark + 32), Buffer(32, 'M'));
}

} // namespace
} // namespace zel
