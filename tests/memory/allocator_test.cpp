#include "zeltools/memory/allocator.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/memory/memory.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::ScopedLanguage;
using test::ThrownText;

using test::AllZero;

TEST(KZAllocator, EmptyArenaOpensPortionsOfTheRequestUntilAQuarterOfUsedIsLarger) {
  KZAllocator a;
  EXPECT_EQ(a.GetCursor(), nullptr);
  unsigned char* first = a.SetPortion(10);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetTotal(), 10u);
  EXPECT_EQ(a.GetFree(), 0u);
  EXPECT_EQ(a.GetUsed(), 10u);
  unsigned char* second = a.SetPortion(10); // used / 4 is 2: a portion of exactly 10
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetTotal(), 20u);
  EXPECT_EQ(a.GetFree(), 0u);
  EXPECT_NE(first, second);
}

TEST(KZAllocator, GrowthIsAQuarterOfWhatWasHandedOut) {
  KZAllocator a;
  a.SetPortionSize(400);
  a.SetPortion(400);
  EXPECT_EQ(a.GetFree(), 0u);
  a.SetPortion(20); // does not fit: max(20, 400 / 4) = 100
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetTotal(), 500u);
  EXPECT_EQ(a.GetFree(), 80u);
  EXPECT_EQ(a.GetUsed(), 420u);
  // A request above both the free bytes and used / 4 (105) gets a portion of
  // exactly its size.
  a.SetPortion(106);
  EXPECT_EQ(a.GetPortionCount(), 3u);
  EXPECT_EQ(a.GetTotal(), 606u);
  EXPECT_EQ(a.GetFree(), 0u);
}

TEST(KZAllocator, ExactFillStaysInThePortionAndOneByteMoreOpensANewOne) {
  KZAllocator a;
  unsigned char* start = a.SetPortionSize(64);
  EXPECT_EQ(a.SetPortion(60), start);
  EXPECT_EQ(a.SetPortion(4), start + 60);
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetFree(), 0u);
  unsigned char* next = a.SetPortion(1);
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetTotal(), 64u + 16u); // 64 / 4 beats the 1-byte request
  EXPECT_NE(next, start + 64);
}

TEST(KZAllocator, SetPortionSizeOnlyAllocatesWhenTheCurrentPortionIsShort) {
  KZAllocator a;
  EXPECT_EQ(a.SetPortionSize(0), nullptr);
  EXPECT_EQ(a.GetPortionCount(), 0u);
  unsigned char* start = a.SetPortionSize(100);
  a.SetPortion(30);
  EXPECT_EQ(a.SetPortionSize(70), start + 30);
  EXPECT_EQ(a.GetPortionCount(), 1u);
  unsigned char* fresh = a.SetPortionSize(71);
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetFree(), 71u);
  EXPECT_EQ(a.GetTotal(), 171u);
  EXPECT_EQ(a.GetUsed(), 30u);
  EXPECT_EQ(a.GetCursor(), fresh);
}

TEST(KZAllocator, ZeroByteRequestsDoNotMove) {
  KZAllocator a;
  EXPECT_EQ(a.SetPortion(0u), nullptr);
  EXPECT_EQ(a.GetPortionCount(), 0u);
  unsigned char* start = a.SetPortionSize(8);
  EXPECT_EQ(a.SetPortion(0u), start);
  EXPECT_EQ(a.GetUsed(), 0u);
  EXPECT_EQ(a.GetFree(), 8u);
}

TEST(KZAllocator, TextFormReservesRoomButDoesNotCopy) {
  KZAllocator a;
  a.SetPortionSize(16);
  std::memset(a.SetPortion(16), 'x', 16);
  a.Free();
  char* piece = a.SetPortion("abc");
  EXPECT_EQ(a.GetUsed(), 4u);
  EXPECT_TRUE(AllZero(piece, 4));
  EXPECT_EQ(a.GetCursor(), reinterpret_cast<unsigned char*>(piece) + 4);
  a.SetPortion(static_cast<const char*>(nullptr));
  EXPECT_EQ(a.GetUsed(), 5u);
}

TEST(KZAllocator, SetFormsCopyTheSourceOrZero) {
  KZAllocator a;
  const double d[3] = {1.5, -2.0, 3.25};
  double* pd = a.SetDbl(3, d);
  EXPECT_EQ(std::memcmp(pd, d, sizeof d), 0);
  const unsigned int u[2] = {7, 0xFFFFFFFFu};
  unsigned int* pu = a.SetUINT(2, u);
  EXPECT_EQ(pu[0], 7u);
  EXPECT_EQ(pu[1], 0xFFFFFFFFu);
  const unsigned short w[2] = {1, 65535};
  unsigned short* pw = a.SetWord(2, w);
  EXPECT_EQ(pw[1], 65535);
  const unsigned char b[3] = {9, 8, 7};
  EXPECT_EQ(a.SetByte(3, b)[2], 7);
  void* z = a.Set(5, nullptr, 4);
  EXPECT_TRUE(AllZero(z, 20));
  EXPECT_EQ(a.GetUsed(), 24u + 8u + 4u + 3u + 20u);
  a.SetPortion(3u, 7u);
  EXPECT_EQ(a.GetUsed(), 80u);
}

TEST(KZAllocator, ReturnPortionRestoresTheFiguresAndZeroesTheBytes) {
  KZAllocator a;
  a.SetPortionSize(32);
  a.SetPortion(8);
  const unsigned int freeBefore = a.GetFree(), usedBefore = a.GetUsed();
  const unsigned char* cursorBefore = a.GetCursor();
  unsigned char* piece = a.SetPortion(4);
  std::memset(piece, 0xEE, 4);
  a.ReturnPortion(4);
  EXPECT_EQ(a.GetFree(), freeBefore);
  EXPECT_EQ(a.GetUsed(), usedBefore);
  EXPECT_EQ(a.GetCursor(), cursorBefore);
  EXPECT_TRUE(AllZero(piece, 4));
  // A count larger than the current portion's handed-out bytes is cut to them.
  a.ReturnPortion(1000);
  EXPECT_EQ(a.GetFree(), 32u);
  EXPECT_EQ(a.GetUsed(), 0u);
  KZAllocator empty;
  empty.ReturnPortion(5);
  EXPECT_EQ(empty.GetUsed(), 0u);
}

TEST(KZAllocator, FreeWithOnePortionRewindsAndPiecesComeBackZeroed) {
  KZAllocator a;
  unsigned char* start = a.SetPortionSize(50);
  std::memset(a.SetPortion(50), 0x5A, 50);
  a.Free();
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetFree(), 50u);
  EXPECT_EQ(a.GetUsed(), 0u);
  EXPECT_EQ(a.GetCursor(), start);
  unsigned char* again = a.SetPortion(50);
  EXPECT_EQ(again, start);
  EXPECT_TRUE(AllZero(again, 50));
}

TEST(KZAllocator, FreeWithSeveralPortionsKeepsOneOfTheFormerTotal) {
  KZAllocator a;
  a.SetPortionSize(100);
  a.SetPortion(100);
  a.SetPortionSize(120);
  a.SetPortion(120);
  a.SetPortionSize(80);
  a.SetPortion(10);
  ASSERT_EQ(a.GetPortionCount(), 3u);
  ASSERT_EQ(a.GetTotal(), 300u);
  a.Free();
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetTotal(), 300u);
  EXPECT_EQ(a.GetFree(), 300u);
  EXPECT_EQ(a.GetUsed(), 0u);
  // The next cycle of the same requests fits the one portion.
  a.SetPortion(230);
  EXPECT_EQ(a.GetPortionCount(), 1u);

  KZAllocator never;
  never.Free();
  EXPECT_EQ(never.GetPortionCount(), 0u);
  EXPECT_EQ(never.GetTotal(), 0u);
}

TEST(KZAllocator, ClearAndTheCopyRulesLeaveEmptyArenas) {
  KZAllocator a;
  for (int i = 0; i < 20; ++i)
    a.SetPortion(100);
  KZAllocator copy(a);
  EXPECT_EQ(copy.GetPortionCount(), 0u);
  EXPECT_EQ(copy.GetCursor(), nullptr);
  KZAllocator target;
  target.SetPortion(10);
  target = a;
  EXPECT_EQ(target.GetPortionCount(), 0u);
  EXPECT_EQ(target.GetTotal(), 0u);
  EXPECT_GT(a.GetPortionCount(), 1u); // the source is untouched
  a.Clear();
  EXPECT_EQ(a.GetPortionCount(), 0u);
  EXPECT_EQ(a.GetTotal(), 0u);
  EXPECT_EQ(a.GetUsed(), 0u);
  EXPECT_EQ(a.GetFree(), 0u);
  EXPECT_EQ(a.GetCursor(), nullptr);
  a.SetPortion(3); // usable again after Clear
  EXPECT_EQ(a.GetTotal(), 3u);
}

TEST(KZAllocator, MoveTakesThePiecesAlong) {
  KZAllocator a;
  auto* p = a.SetUINT(1, nullptr);
  *p = 42;
  KZAllocator b(std::move(a));
  EXPECT_EQ(a.GetPortionCount(), 0u);
  EXPECT_EQ(b.GetPortionCount(), 1u);
  EXPECT_EQ(*p, 42u);
  KZAllocator c;
  c.SetPortion(5);
  c = std::move(b);
  EXPECT_EQ(c.GetUsed(), 4u);
  EXPECT_EQ(*p, 42u);
}

// Random requests against a plain record of what was handed out: pieces are
// zero when handed out, never overlap, never move, and keep what was written
// into them until the arena is reset; the figures add up.
TEST(KZAllocator, RandomRequestsKeepPiecesDisjointStableAndZeroed) {
  std::mt19937 rng(12345);
  KZAllocator a;
  for (int cycle = 0; cycle < 4; ++cycle) {
    struct Piece {
      unsigned char* p;
      unsigned int n;
      unsigned char fill;
    };
    std::vector<Piece> pieces;
    std::uint64_t handed = 0;
    for (int i = 0; i < 3000; ++i) {
      const unsigned int n = rng() % 4 == 0 ? rng() % 2000 : rng() % 70;
      unsigned char* p = a.SetPortion(n);
      if (n == 0)
        continue;
      ASSERT_TRUE(AllZero(p, n)) << "piece " << i << " of cycle " << cycle;
      const auto fill = static_cast<unsigned char>(1 + rng() % 255);
      std::memset(p, fill, n);
      pieces.push_back({p, n, fill});
      handed += n;
      if (rng() % 50 == 0) { // take back the last piece now and then
        a.ReturnPortion(n);
        ASSERT_TRUE(AllZero(p, n));
        pieces.pop_back();
        handed -= n;
      }
    }
    EXPECT_EQ(a.GetUsed(), handed);
    EXPECT_LE(a.GetUsed(), a.GetTotal());
    std::vector<Piece> sorted = pieces;
    std::sort(sorted.begin(), sorted.end(), [](const Piece& x, const Piece& y) { return x.p < y.p; });
    for (std::size_t k = 1; k < sorted.size(); ++k)
      ASSERT_LE(sorted[k - 1].p + sorted[k - 1].n, sorted[k].p);
    for (const Piece& piece : pieces)
      for (unsigned int k = 0; k < piece.n; ++k)
        ASSERT_EQ(piece.p[k], piece.fill);
    if (cycle == 0) // the quarter rule keeps the portion count logarithmic
      EXPECT_LT(a.GetPortionCount(), 60u);
    else // after a reset the former total fits the work of the next cycle
      EXPECT_LE(a.GetPortionCount(), 3u);
    a.Free();
    EXPECT_EQ(a.GetPortionCount(), 1u);
  }
}

TEST(KZAllocator, ExhaustionThrowsAndLeavesTheArenaAsItWas) {
  ScopedLanguage english(LanguageEnglish);
  KZAllocator a;
  a.SetPortionSize(16);
  unsigned char* piece = a.SetPortion(16);
  piece[0] = 7;
  {
    platform::ScopedCalls calls;
    platform::Calls().allocateZero = [](std::size_t) -> void* { return nullptr; };
    // The heap is asked for the portion and its read slack.
    EXPECT_EQ(ThrownText([&] { a.SetPortion(100); }),
              "Unable to allocate " + std::to_string(100 + KZAllocator::ReadSlack) +
                  " bytes.\nMemory resource does not allow to continue the solution");
  }
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetTotal(), 16u);
  EXPECT_EQ(a.GetUsed(), 16u);
  EXPECT_EQ(a.GetFree(), 0u);
  EXPECT_EQ(piece[0], 7);
  EXPECT_EQ(ThrownText([&] { a.SetPortionSize(0x90000001u); }), "Memory allocation request exceeds  4Gb.");
  EXPECT_EQ(a.GetPortionCount(), 1u);
}

TEST(KZAllocator, EveryPortionHasReadableSlackPastItsEnd) {
  platform::ScopedCalls calls;
  static std::size_t asked = 0;
  platform::Calls().allocateZero = [](std::size_t bytes) -> void* {
    asked = std::max(asked, bytes); // the largest request is the portion's
    return platform::DefaultCalls().allocateZero(bytes);
  };
  KZAllocator a;
  a.SetPortionSize(10);
  EXPECT_GE(asked, 10u + KZAllocator::ReadSlack);
  EXPECT_EQ(a.GetTotal(), 10u);
  EXPECT_EQ(a.GetFree(), 10u);
}

TEST(KZAllocator, MaxPortionIsOneWorkingBufferWhosePiecesAreZeroed) {
  platform::ScopedCalls calls;
  // A small machine, so that the working buffer is 25% of 1 MB; the buffer
  // comes back dirty, as a buffer that is not zero-filled may.
  platform::Calls().physicalMemory = [](std::uint64_t& total, std::uint64_t& available) {
    total = 1u << 20;
    available = 1u << 19;
    return true;
  };
  platform::Calls().allocate = [](std::size_t bytes) -> void* {
    void* p = std::malloc(bytes);
    if (p != nullptr)
      std::memset(p, 0xCD, bytes);
    return p;
  };
  KZAllocator a;
  a.SetPortion(4);
  a.SetMaxPortion(0);
  const unsigned int size = (1u << 18) * 98u / 100u;
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetFree(), size);
  EXPECT_EQ(a.GetTotal(), 4u + size);
  unsigned char* piece = a.SetPortion(1000);
  EXPECT_TRUE(AllZero(piece, 1000));
  EXPECT_EQ(a.GetPortionCount(), 2u);

  platform::Calls().allocate = [](std::size_t) -> void* { return nullptr; };
  a.SetMaxPortion(0); // nothing to be had: nothing changes
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetFree(), size - 1000u);
}

} // namespace
} // namespace zel
