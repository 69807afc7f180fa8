// Handing out many small pieces: the portion allocator against the standard
// monotonic buffer resource and plain malloc, on the same sequence of sizes
// (8 to 64 bytes). Every piece gets one byte written, as a real user would,
// so that all three pay for touching their pages. Our pieces also come
// zero-filled; the peers' do not.
//
// Counters: ns per piece (from items/s) and the peak bytes each obtained from
// the system for the pieces.

#include <cstdint>
#include <cstdlib>
#include <memory_resource>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "zeltools/memory/allocator.h"

namespace {

std::size_t PieceCount() {
  const char* smoke = std::getenv("ZEL_BENCH_SMOKE");
  return smoke != nullptr && smoke[0] == '1' ? 10000 : 10000000;
}

const std::vector<unsigned char>& Sizes() {
  static const std::vector<unsigned char> sizes = [] {
    std::vector<unsigned char> s(PieceCount());
    std::mt19937 rng(2024);
    for (auto& v : s)
      v = static_cast<unsigned char>(8 + rng() % 57);
    return s;
  }();
  return sizes;
}

// Upstream for the monotonic resource that records what it obtained.
class CountingResource : public std::pmr::memory_resource {
public:
  std::size_t current = 0, peak = 0;

private:
  void* do_allocate(std::size_t bytes, std::size_t align) override {
    current += bytes;
    if (current > peak)
      peak = current;
    return std::pmr::new_delete_resource()->allocate(bytes, align);
  }
  void do_deallocate(void* p, std::size_t bytes, std::size_t align) override {
    current -= bytes;
    std::pmr::new_delete_resource()->deallocate(p, bytes, align);
  }
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }
};

void BM_KZAllocator(benchmark::State& state) {
  const auto& sizes = Sizes();
  std::size_t peak = 0;
  for (auto _ : state) {
    zel::KZAllocator arena;
    for (unsigned char n : sizes) {
      unsigned char* p = arena.SetPortion(n);
      p[0] = n;
      benchmark::DoNotOptimize(p);
    }
    peak = arena.GetTotal();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sizes.size()));
  state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
}

// Second and later cycles after Free reuse one portion of the former total.
void BM_KZAllocatorReused(benchmark::State& state) {
  const auto& sizes = Sizes();
  zel::KZAllocator arena;
  for (unsigned char n : sizes)
    arena.SetPortion(n);
  arena.Free();
  for (auto _ : state) {
    for (unsigned char n : sizes) {
      unsigned char* p = arena.SetPortion(n);
      p[0] = n;
      benchmark::DoNotOptimize(p);
    }
    benchmark::ClobberMemory();
    state.PauseTiming();
    arena.Free();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sizes.size()));
  state.counters["peak_MB"] = static_cast<double>(arena.GetTotal()) / 1e6;
}

void BM_MonotonicResource(benchmark::State& state) {
  const auto& sizes = Sizes();
  std::size_t peak = 0;
  for (auto _ : state) {
    CountingResource upstream;
    {
      std::pmr::monotonic_buffer_resource arena(&upstream);
      for (unsigned char n : sizes) {
        auto* p = static_cast<unsigned char*>(arena.allocate(n, 1));
        p[0] = n;
        benchmark::DoNotOptimize(p);
      }
      benchmark::ClobberMemory();
    }
    peak = upstream.peak;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sizes.size()));
  state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
}

// The peer of the reused arena: a monotonic resource over one buffer whose
// pages were touched before, so neither pays for page faults.
void BM_MonotonicResourceWarmBuffer(benchmark::State& state) {
  const auto& sizes = Sizes();
  std::size_t bytes = 0;
  for (unsigned char n : sizes)
    bytes += n;
  std::vector<unsigned char> buffer(bytes, 1);
  for (auto _ : state) {
    std::pmr::monotonic_buffer_resource arena(buffer.data(), buffer.size());
    for (unsigned char n : sizes) {
      auto* p = static_cast<unsigned char*>(arena.allocate(n, 1));
      p[0] = n;
      benchmark::DoNotOptimize(p);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sizes.size()));
  state.counters["peak_MB"] = static_cast<double>(bytes) / 1e6;
}

void BM_Malloc(benchmark::State& state) {
  const auto& sizes = Sizes();
  std::vector<void*> pieces(sizes.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      auto* p = static_cast<unsigned char*>(std::malloc(sizes[i]));
      p[0] = sizes[i];
      pieces[i] = p;
    }
    benchmark::ClobberMemory();
    state.PauseTiming();
    for (void* p : pieces)
      std::free(p);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sizes.size()));
}

BENCHMARK(BM_KZAllocator)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KZAllocatorReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MonotonicResource)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MonotonicResourceWarmBuffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Malloc)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
