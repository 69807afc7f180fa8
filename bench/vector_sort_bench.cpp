// Vector<T>::Sort, Compress and Order against std::sort on the same random
// data, in one binary so each figure is a ratio from one run.
//
// Peers: Sort against std::sort; Compress against std::sort + std::unique
// (the same sort-then-compact work); Order against std::sort of an index
// array by value. Data: 10 million uniform random values (32-bit integers
// over the whole range; doubles uniform in [-1e6, 1e6), no NaNs, since
// std::sort needs a strict weak order). ZEL_BENCH_SMOKE=1 uses 10 000.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include "zeltools/containers/vector.h"

namespace {

std::int64_t ElementCount() {
  const char* smoke = std::getenv("ZEL_BENCH_SMOKE");
  return smoke != nullptr && smoke[0] == '1' ? 10000 : 10000000;
}

const std::int64_t kCount = ElementCount();

template <class T>
const std::vector<T>& Data(std::size_t n) {
  static std::vector<T> data;
  if (data.size() != n) {
    std::mt19937_64 rng(20240601);
    data.resize(n);
    for (T& x : data) {
      if constexpr (std::is_floating_point_v<T>) {
        x = std::uniform_real_distribution<T>(-1e6, 1e6)(rng);
      } else {
        x = static_cast<T>(rng());
      }
    }
  }
  return data;
}

template <class T>
void PerElement(benchmark::State& state, std::size_t n) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
  state.counters["ns_per_elem"] = benchmark::Counter(static_cast<double>(n) * 1e-9,
                                                     benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

// Times `work(v)` on a fresh copy of the data in a container of type C;
// the copy itself is outside the timed region.
template <class T, class C, class Work>
C OnFreshCopy(benchmark::State& state, Work work) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<T>& src = Data<T>(n);
  C v;
  for (auto _ : state) {
    state.PauseTiming();
    v.assign(src.begin(), src.end());
    state.ResumeTiming();
    work(v);
    benchmark::DoNotOptimize(v.data());
  }
  PerElement<T>(state, n);
  return v;
}

template <class T>
void BM_VectorSort(benchmark::State& state) {
  const zel::Vector<T> v = OnFreshCopy<T, zel::Vector<T>>(state, [](zel::Vector<T>& w) { w.Sort(false); });
  if (!std::is_sorted(v.begin(), v.end())) state.SkipWithError("not sorted");
}

template <class T>
void BM_StdSort(benchmark::State& state) {
  OnFreshCopy<T, std::vector<T>>(state, [](std::vector<T>& v) { std::sort(v.begin(), v.end()); });
}

template <class T>
void BM_VectorCompress(benchmark::State& state) {
  OnFreshCopy<T, zel::Vector<T>>(state, [](zel::Vector<T>& v) { benchmark::DoNotOptimize(v.Compress(true, nullptr)); });
}

template <class T>
void BM_StdSortUnique(benchmark::State& state) {
  OnFreshCopy<T, std::vector<T>>(state, [](std::vector<T>& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
  });
}

template <class T>
void BM_VectorOrder(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  zel::Vector<T> v(Data<T>(n).begin(), Data<T>(n).end());
  std::vector<unsigned int> order;
  for (auto _ : state) {
    v.Order(order);
    benchmark::DoNotOptimize(order.data());
  }
  PerElement<T>(state, n);
}

template <class T>
void BM_StdSortIndices(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<T>& v = Data<T>(n);
  std::vector<unsigned int> order;
  for (auto _ : state) {
    order.resize(n);
    std::iota(order.begin(), order.end(), 1u);
    std::sort(order.begin(), order.end(), [&v](unsigned int a, unsigned int b) { return v[a - 1] < v[b - 1]; });
    benchmark::DoNotOptimize(order.data());
  }
  PerElement<T>(state, n);
}

#define ZEL_SORT_BENCH(fn, type) \
  BENCHMARK_TEMPLATE(fn, type)->Arg(kCount)->Unit(benchmark::kMillisecond)

ZEL_SORT_BENCH(BM_VectorSort, unsigned int);
ZEL_SORT_BENCH(BM_StdSort, unsigned int);
ZEL_SORT_BENCH(BM_VectorSort, double);
ZEL_SORT_BENCH(BM_StdSort, double);
ZEL_SORT_BENCH(BM_VectorCompress, unsigned int);
ZEL_SORT_BENCH(BM_StdSortUnique, unsigned int);
ZEL_SORT_BENCH(BM_VectorCompress, double);
ZEL_SORT_BENCH(BM_StdSortUnique, double);
ZEL_SORT_BENCH(BM_VectorOrder, unsigned int);
ZEL_SORT_BENCH(BM_StdSortIndices, unsigned int);
ZEL_SORT_BENCH(BM_VectorOrder, double);
ZEL_SORT_BENCH(BM_StdSortIndices, double);

} // namespace

BENCHMARK_MAIN();
