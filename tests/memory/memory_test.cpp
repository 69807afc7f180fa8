#include "zeltools/memory/memory.h"

#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::ScopedLanguage;
using test::ThrownText;

constexpr std::uint64_t GB = 1ull << 30;

using test::AllZero;

TEST(Memory, ZeroProduct) {
  ScopedLanguage english(LanguageEnglish);
  EXPECT_EQ(_Memory(0, 8), nullptr);
  EXPECT_EQ(ThrownText([] { Memory(0, 8); }),
            "Unable to allocate 0 bytes.\nMemory resource does not allow to continue the solution");
}

TEST(Memory, CeilingIsCheckedOnTheProduct) {
  ScopedLanguage english(LanguageEnglish);
  const std::string over = "Memory allocation request exceeds  4Gb.";
  EXPECT_EQ(ThrownText([] { Memory(0x90000001ull, 1); }), over);
  EXPECT_EQ(ThrownText([] { Memory(0x48000001ull, 2); }), over);
  EXPECT_EQ(ThrownText([] { _Memory(0x90000001ull, 1); }), over);
  EXPECT_EQ(ThrownText([] { ReAlloc(nullptr, 0x90000001ull, 1); }), over);
  // Exactly at the ceiling is allowed (the pages are never touched).
  void* p = Memory(0x90000000ull, 1);
  ASSERT_NE(p, nullptr);
  DoMemoryFree(&p);
  EXPECT_EQ(p, nullptr);
}

TEST(Memory, BlocksAreZeroFilledAndGrowthIsZeroFilled) {
  auto* p = static_cast<unsigned char*>(ReAlloc(nullptr, 10, 4));
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(AllZero(p, 40));
  std::memset(p, 0xAB, 40);
  p = static_cast<unsigned char*>(ReAlloc(p, 1000, 4));
  for (int i = 0; i < 40; ++i)
    ASSERT_EQ(p[i], 0xAB);
  EXPECT_TRUE(AllZero(p + 40, 4000 - 40));
  // Shrink, then grow again: the bytes past the shrunk size read as zero.
  p = static_cast<unsigned char*>(ReAlloc(p, 8, 1));
  p = static_cast<unsigned char*>(ReAlloc(p, 64, 1));
  EXPECT_EQ(p[7], 0xAB);
  EXPECT_TRUE(AllZero(p + 8, 56));
  EXPECT_EQ(ReAlloc(p, 0, 4), nullptr); // frees
  void* none = nullptr;
  DoMemoryFree(&none);
  DoMemoryFree(static_cast<void**>(nullptr));
}

// Makes the heap refuse everything while in scope.
class RefusingHeap {
public:
  RefusingHeap() {
    auto& calls = platform::Calls();
    calls.allocate = [](std::size_t) -> void* { return nullptr; };
    calls.allocateZero = [](std::size_t) -> void* { return nullptr; };
    calls.reallocate = [](void*, std::size_t) -> void* { return nullptr; };
  }

private:
  platform::ScopedCalls saved_;
};

TEST(Memory, ExhaustionReportsTheProductOrTheGrowthSizeArgument) {
  ScopedLanguage english(LanguageEnglish);
  void* block = Memory(4, 4);
  {
    RefusingHeap refusing;
    EXPECT_EQ(_Memory(10, 10), nullptr);
    EXPECT_EQ(ThrownText([] { Memory(10, 10); }),
              "Unable to allocate 100 bytes.\nMemory resource does not allow to continue the solution");
    EXPECT_EQ(ThrownText([] { ReAlloc(nullptr, 3, 7); }),
              "Unable to allocate 21 bytes.\nMemory resource does not allow to continue the solution");
    // A failed growth names the size argument (7), not the product.
    EXPECT_EQ(ThrownText([&] { ReAlloc(block, 100, 7); }),
              "Unable to allocate 7 bytes.\nMemory resource does not allow to continue the solution");
  }
  // The old block survived the failed growth.
  static_cast<unsigned char*>(block)[15] = 1;
  DoMemoryFree(&block);
}

TEST(Memory, RussianTextsComeFromTheRussianTable) {
  ScopedLanguage russian(LanguageRussian);
  EXPECT_EQ(ThrownText([] { Memory(0x90000001ull, 1); }), test::CatalogueText(202));
  EXPECT_NE(test::CatalogueText(202), "Memory allocation request exceeds  4Gb.");
}

TEST(SetMaxBuffer, BacksOffByTheFourthRootOfTwo) {
  static std::uint64_t limit = 0;
  static int attempts = 0;
  platform::ScopedCalls saved;
  platform::Calls().allocate = [](std::size_t bytes) -> void* {
    ++attempts;
    return bytes - 16 <= limit ? platform::DefaultCalls().allocate(bytes) : nullptr;
  };
  limit = 700;
  attempts = 0;
  std::uint64_t actual = 0;
  void* block = SetMaxBuffer(1000, actual);
  // 1000 -> 840 -> 706 -> 593 (each divided by 1.189207115002721, truncated).
  EXPECT_EQ(actual, 593u);
  EXPECT_EQ(attempts, 4);
  ASSERT_NE(block, nullptr);
  DoMemoryFree(&block);

  limit = 0;
  attempts = 0;
  EXPECT_EQ(SetMaxBuffer(1000, actual), nullptr);
  EXPECT_EQ(actual, 0u);
  attempts = 0;
  EXPECT_EQ(SetMaxBuffer(0, actual), nullptr);
  EXPECT_EQ(attempts, 0);
}

TEST(MaxBufferTarget, WorkedExamples) {
  // 25 % of 8 GB is 2 GB, capped at 0x7FFFFFFF; the 4 GB spare leaves it.
  EXPECT_EQ(MaxBufferTarget(25, 8 * GB, 6 * GB), 0x7FFFFFFFu);
  // Spare of 0.5 GB: the target falls back to 1 GB.
  EXPECT_EQ(MaxBufferTarget(25, 8 * GB, 5 * GB / 2), 0x40000000u);
  // A small machine keeps its share.
  EXPECT_EQ(MaxBufferTarget(25, 3 * GB / 2, GB), 3 * GB / 2 * 25 / 100);
  // 0 means 25 per cent, 80 or more means 75.
  EXPECT_EQ(MaxBufferTarget(0, GB, GB / 2), GB / 4);
  EXPECT_EQ(MaxBufferTarget(90, GB, GB / 2), GB * 75 / 100);
  EXPECT_EQ(MaxBufferTarget(79, GB, GB / 2), GB * 79 / 100);
  // Spare above 1 GB but below the target: the spare itself.
  EXPECT_EQ(MaxBufferTarget(50, 16 * GB, 7 * GB / 2), 3 * GB / 2);
  // More than 2 GB total, at most 2 GB available: 1 GB.
  EXPECT_EQ(MaxBufferTarget(10, 4 * GB, 2 * GB), 0x40000000u);
}

TEST(GetMaxSize, NeverBelowTheFloorAndNinetyEightPerCent) {
  platform::ScopedCalls saved;
  platform::Calls().physicalMemory = [](std::uint64_t& total, std::uint64_t& available) {
    total = 1000;
    available = 500;
    return true;
  };
  std::uint64_t actual = 0;
  void* block = SetMaxSize(50, actual);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(actual, 500u * 98 / 100);
  DoMemoryFree(&block);
  EXPECT_EQ(GetMaxSize(50), MinimumMaxSize);
}

} // namespace
} // namespace zel
