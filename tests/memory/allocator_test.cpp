#include "zeltools/memory/allocator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::AllZero;

// Random requests against a record of what was handed out: every figure
// follows the growth rule, pieces are zero when handed out (also after a
// rewind), never overlap, never move and keep what was written into them.
// Each cycle replays the same requests, so after the first reset they must
// fit the one portion of the former total.
TEST(KZAllocator, RandomRequestsFollowTheGrowthRuleAndKeepPiecesZeroedDisjointAndStable) {
  KZAllocator a;
  for (int cycle = 0; cycle < 3; ++cycle) {
    std::mt19937 rng(12345);
    struct Piece { unsigned char* p; unsigned int n; unsigned char fill; };
    std::vector<Piece> pieces;
    for (int i = 0; i < 3000; ++i) {
      const unsigned int n = rng() % 4 == 0 ? rng() % 2000 : rng() % 70;
      const unsigned int used = a.GetUsed(), free = a.GetFree(), total = a.GetTotal();
      if (rng() % 40 == 0) { // a new portion of exactly n only when n does not fit
        const unsigned char* cursor = a.GetCursor();
        unsigned char* at = a.SetPortionSize(n);
        ASSERT_EQ(a.GetTotal(), total + (n > free ? n : 0));
        ASSERT_EQ(at, n == 0 ? nullptr : n > free ? at : cursor);
        continue;
      }
      unsigned char* p = a.SetPortion(n);
      const unsigned int opened = n > free ? std::max(n, used / 4) : 0;
      ASSERT_EQ(a.GetTotal(), total + opened) << "request " << i;
      ASSERT_EQ(a.GetFree(), (opened != 0 ? opened : free) - n);
      ASSERT_EQ(a.GetUsed(), used + n);
      if (n == 0)
        continue;
      ASSERT_TRUE(AllZero(p, n)) << "piece " << i << " of cycle " << cycle;
      const auto fill = static_cast<unsigned char>(1 + rng() % 255);
      std::memset(p, fill, n);
      pieces.push_back({p, n, fill});
      if (rng() % 50 == 0) { // the last piece is taken back now and then
        a.ReturnPortion(n);
        ASSERT_TRUE(AllZero(p, n));
        ASSERT_EQ(a.GetCursor(), p);
        pieces.pop_back();
      }
    }
    std::vector<Piece> sorted = pieces;
    std::sort(sorted.begin(), sorted.end(), [](const Piece& x, const Piece& y) { return x.p < y.p; });
    for (std::size_t k = 1; k < sorted.size(); ++k)
      ASSERT_LE(sorted[k - 1].p + sorted[k - 1].n, sorted[k].p);
    for (const Piece& piece : pieces)
      ASSERT_EQ(std::count(piece.p, piece.p + piece.n, piece.fill), piece.n);
    EXPECT_LE(a.GetPortionCount(), cycle == 0 ? 60u : 1u); // logarithmic; then one block
    const unsigned int former = a.GetTotal();
    a.Free();
    EXPECT_EQ(a.GetPortionCount(), 1u);
    EXPECT_EQ(a.GetFree(), former);
    EXPECT_EQ(a.GetTotal(), former);
    EXPECT_EQ(a.GetUsed(), 0u);
  }
}

TEST(KZAllocator, EdgesOfTheFiguresAndTheCopyRules) {
  KZAllocator a;
  a.Free();
  a.ReturnPortion(5);
  EXPECT_EQ(a.GetPortionCount() + a.GetTotal() + a.GetUsed(), 0u); // a never-used arena stays empty
  EXPECT_TRUE(AllZero(a.SetPortion("abc"), 4)); // room for the text, not a copy of it
  EXPECT_EQ(a.GetUsed(), 4u);
  a.ReturnPortion(1000); // cut to what the portion handed out
  EXPECT_EQ(a.GetFree(), 4u);
  const unsigned int* piece = a.SetUINT(1, nullptr);
  KZAllocator copy(a), assigned;
  assigned.SetPortion(3);
  assigned = a;
  EXPECT_EQ(copy.GetPortionCount() + assigned.GetPortionCount(), 0u); // pieces belong to one arena
  KZAllocator moved(std::move(a));
  EXPECT_EQ(moved.GetCursor(), reinterpret_cast<const unsigned char*>(piece + 1));
  EXPECT_EQ(a.GetPortionCount(), 0u);
}

TEST(KZAllocator, ExhaustionThrowsAndLeavesTheArenaAsItWas) {
  test::ScopedLanguage english(LanguageEnglish);
  KZAllocator a;
  unsigned char* piece = a.SetPortion(16);
  piece[0] = 7;
  {
    platform::ScopedCalls calls;
    platform::Calls().allocateZero = [](std::size_t) -> void* { return nullptr; };
    // The heap is asked for the portion and its read slack.
    EXPECT_EQ(test::ThrownText([&] { a.SetPortion(100); }), test::Message(201, 100L + KZAllocator::ReadSlack));
  }
  EXPECT_EQ(test::ThrownText([&] { a.SetPortionSize(0x90000001u); }), test::Message(202));
  EXPECT_EQ(a.GetPortionCount(), 1u);
  EXPECT_EQ(a.GetTotal(), 16u);
  EXPECT_EQ(a.GetUsed(), 16u);
  EXPECT_EQ(piece[0], 7);
}

TEST(KZAllocator, MaxPortionIsOneWorkingBufferWhosePiecesAreZeroed) {
  platform::ScopedCalls calls;
  // A 1 MB machine (a working buffer of 25% of it), whose heap hands out
  // dirty buffers.
  platform::Calls().physicalMemory = [](std::uint64_t& total, std::uint64_t& available) {
    total = 1u << 20;
    available = 1u << 19;
    return true;
  };
  platform::Calls().allocate = [](std::size_t bytes) -> void* {
    void* p = std::malloc(bytes);
    return p != nullptr ? std::memset(p, 0xCD, bytes) : nullptr;
  };
  KZAllocator a;
  a.SetPortion(4);
  a.SetMaxPortion(0);
  const unsigned int size = (1u << 18) * 98u / 100u;
  EXPECT_EQ(a.GetTotal(), 4u + size);
  EXPECT_TRUE(AllZero(a.SetPortion(1000), 1000));
  platform::Calls().allocate = [](std::size_t) -> void* { return nullptr; };
  a.SetMaxPortion(0); // nothing to be had: nothing changes
  EXPECT_EQ(a.GetPortionCount(), 2u);
  EXPECT_EQ(a.GetFree(), size - 1000u);
}

} // namespace
} // namespace zel
