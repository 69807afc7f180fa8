#include "zeltools/memory/memory.h"

#include <cstring>
#include <random>
#include <vector>

#include "support/test_support.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using test::ThrownText;

std::string Unable(long bytes) { return test::Message(201, bytes); }

TEST(Memory, RequestsAreCheckedOnTheProductAgainstTheCeiling) {
  test::ScopedLanguage english(LanguageEnglish);
  const std::string over = test::Message(202);
  EXPECT_EQ(ThrownText([] { Memory(0x90000001ull, 1); }), over);
  EXPECT_EQ(ThrownText([] { Memory(0x48000001ull, 2); }), over);
  EXPECT_EQ(ThrownText([] { _Memory(0x90000001ull, 1); }), over);
  EXPECT_EQ(ThrownText([] { ReAlloc(nullptr, 0x90000001ull, 1); }), over);
  EXPECT_EQ(_Memory(0, 8), nullptr);
  EXPECT_EQ(ThrownText([] { Memory(0, 8); }), Unable(0));
  void* p = Memory(0x90000000ull, 1); // at the ceiling: allowed (the pages are never touched)
  ASSERT_NE(p, nullptr);
  DoMemoryFree(&p);
  EXPECT_EQ(p, nullptr);
  test::ScopedLanguage russian(LanguageRussian);
  EXPECT_EQ(ThrownText([] { Memory(0x90000001ull, 1); }), test::Message(202));
}

// Against a std::vector: the kept prefix survives, growth reads as zero
// (also past an earlier shrink), and a zero product frees.
TEST(ReAlloc, ResizesLikeAZeroFilledVector) {
  std::mt19937 rng(11);
  std::vector<unsigned char> model(1000);
  void* block = Memory(500, 2);
  for (int step = 0; step < 300; ++step) {
    const std::uint64_t count = block && rng() % 10 == 0 ? 0 : 1 + rng() % 3000, size = 1 + rng() % 4;
    block = ReAlloc(block, count, size);
    model.resize(count * size);
    ASSERT_EQ(block == nullptr, model.empty());
    ASSERT_TRUE(model.empty() || std::memcmp(block, model.data(), model.size()) == 0) << step;
    for (auto& b : model)
      b = static_cast<unsigned char>(rng());
    if (block != nullptr)
      std::memcpy(block, model.data(), model.size());
  }
  DoMemoryFree(&block);
  DoMemoryFree(static_cast<void**>(nullptr));
}

TEST(Memory, ExhaustionReportsTheProductOrTheGrowthSizeArgument) {
  test::ScopedLanguage english(LanguageEnglish);
  void* block = Memory(4, 4);
  {
    platform::ScopedCalls refusing;
    platform::Calls().allocate = platform::Calls().allocateZero = [](std::size_t) -> void* { return nullptr; };
    platform::Calls().reallocate = [](void*, std::size_t) -> void* { return nullptr; };
    EXPECT_EQ(_Memory(10, 10), nullptr);
    EXPECT_EQ(ThrownText([] { Memory(10, 10); }), Unable(100));
    EXPECT_EQ(ThrownText([] { ReAlloc(nullptr, 3, 7); }), Unable(21));
    EXPECT_EQ(ThrownText([&] { ReAlloc(block, 100, 7); }), Unable(7)); // the size argument, not the product
  }
  static_cast<unsigned char*>(block)[15] = 1; // the block survived its failed growth
  DoMemoryFree(&block);
}

TEST(SetMaxBuffer, BacksOffByTheFourthRootOfTwoAndSetMaxSizeKeeps98PerCent) {
  static std::uint64_t limit;
  static int attempts;
  limit = 700;
  attempts = 0;
  platform::ScopedCalls saved;
  platform::Calls().allocate = [](std::size_t bytes) -> void* {
    ++attempts;
    return bytes - 16 <= limit ? platform::DefaultCalls().allocate(bytes) : nullptr;
  };
  std::uint64_t actual = 0;
  void* block = SetMaxBuffer(1000, actual);
  EXPECT_EQ(actual, 593u); // 1000 -> 840 -> 706 -> 593: each divided by 1.189207115002721, truncated
  EXPECT_EQ(attempts, 4);
  DoMemoryFree(&block);
  limit = 0;
  EXPECT_EQ(SetMaxBuffer(1000, actual), nullptr);
  EXPECT_EQ(actual, 0u);
  attempts = 0;
  EXPECT_EQ(SetMaxBuffer(0, actual), nullptr);
  EXPECT_EQ(attempts, 0);
  limit = ~0ull;
  platform::Calls().physicalMemory = [](std::uint64_t& total, std::uint64_t& available) {
    total = 1000;
    available = 500;
    return true;
  };
  block = SetMaxSize(50, actual);
  EXPECT_EQ(actual, 500u * 98 / 100);
  DoMemoryFree(&block);
  EXPECT_EQ(GetMaxSize(50), MinimumMaxSize);
}

TEST(MaxBufferTarget, WorkedExamples) {
  constexpr std::uint64_t GB = 1ull << 30;
  const struct {
    unsigned int percent;
    std::uint64_t total, available, target;
  } cases[] = {
      {25, 8 * GB, 6 * GB, 0x7FFFFFFF},            // 2 GB share capped; the 4 GB spare leaves it
      {25, 8 * GB, 5 * GB / 2, GB},                // a spare of 0.5 GB: back to 1 GB
      {25, 3 * GB / 2, GB, 3 * GB / 2 * 25 / 100}, // a small machine keeps its share
      {0, GB, GB / 2, GB / 4},                     // 0 means 25 per cent
      {90, GB, GB / 2, GB * 75 / 100},             // 80 or more means 75
      {79, GB, GB / 2, GB * 79 / 100},
      {50, 16 * GB, 7 * GB / 2, 3 * GB / 2}, // a spare above 1 GB but below the target: the spare
      {10, 4 * GB, 2 * GB, GB},              // over 2 GB in all, at most 2 GB available
  };
  for (const auto& c : cases)
    EXPECT_EQ(MaxBufferTarget(c.percent, c.total, c.available), c.target) << c.percent << " " << c.available;
}

} // namespace
} // namespace zel
