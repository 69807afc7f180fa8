// The number-list text form against the plain peer: every number written
// with snprintf("%u ") and read back with strtoul.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "zeltools/text/list_text.h"

namespace {

std::size_t Count() { return std::getenv("ZEL_BENCH_SMOKE") != nullptr ? 100 : 100000; }

// Object lists as applications keep them: stretches of consecutive numbers,
// regular runs (every second or tenth node) and scattered numbers.
std::vector<unsigned int> MakeList(std::size_t n) {
  std::mt19937 rng(1);
  std::uniform_int_distribution<int> kind(0, 2), length(1, 40);
  std::vector<unsigned int> list;
  unsigned int v = 1;
  while (list.size() < n) {
    const int k = kind(rng);
    const unsigned int step = k == 0 ? 1 : k == 1 ? 10 : 0;
    for (int i = length(rng); i > 0 && list.size() < n; --i) {
      v += step != 0 ? step : static_cast<unsigned int>(length(rng)) * 37;
      list.push_back(v);
    }
  }
  return list;
}

void BM_ListText(benchmark::State& state) {
  const auto list = MakeList(Count());
  std::vector<char> text;
  for (auto _ : state) {
    zel::ListText(static_cast<unsigned int>(list.size()), list.data(), text);
    benchmark::DoNotOptimize(text.data());
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * list.size()));
  state.counters["chars"] = static_cast<double>(text.size());
}

void BM_PlainWrite(benchmark::State& state) {
  const auto list = MakeList(Count());
  std::vector<char> text;
  for (auto _ : state) {
    text.clear();
    char piece[16];
    for (unsigned int v : list) {
      const int n = std::snprintf(piece, sizeof piece, "%u ", v);
      text.insert(text.end(), piece, piece + n);
    }
    text.push_back('\0');
    benchmark::DoNotOptimize(text.data());
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * list.size()));
  state.counters["chars"] = static_cast<double>(text.size());
}

void BM_TextList(benchmark::State& state) {
  const auto list = MakeList(Count());
  std::vector<char> text;
  zel::ListText(static_cast<unsigned int>(list.size()), list.data(), text);
  std::vector<unsigned int> back;
  for (auto _ : state) {
    zel::TextList(text.data(), back);
    benchmark::DoNotOptimize(back.data());
  }
  if (back != list)
    state.SkipWithError("round trip failed");
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * list.size()));
}

void BM_PlainRead(benchmark::State& state) {
  const auto list = MakeList(Count());
  std::vector<char> text;
  char piece[16];
  for (unsigned int v : list) {
    const int n = std::snprintf(piece, sizeof piece, "%u ", v);
    text.insert(text.end(), piece, piece + n);
  }
  text.push_back('\0');
  std::vector<unsigned int> back;
  for (auto _ : state) {
    back.clear();
    const char* p = text.data();
    char* end = nullptr;
    for (unsigned long v = std::strtoul(p, &end, 10); end != p; v = std::strtoul(p, &end, 10)) {
      back.push_back(static_cast<unsigned int>(v));
      p = end;
    }
    benchmark::DoNotOptimize(back.data());
  }
  if (back != list)
    state.SkipWithError("round trip failed");
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * list.size()));
}

BENCHMARK(BM_ListText);
BENCHMARK(BM_PlainWrite);
BENCHMARK(BM_TextList);
BENCHMARK(BM_PlainRead);

} // namespace

BENCHMARK_MAIN();
