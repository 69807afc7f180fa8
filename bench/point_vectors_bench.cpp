// Merging coincident nodes: the grid-indexed VPoint3D::Merge and
// CPointIndex3D::Add against the straightforward peer, a linear scan of the
// kept nodes for every node (std::find_if over a std::vector).

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include "zeltools/geometry/point_vectors.h"

using zel::bench::Smoke;

namespace {

/// The nodes of a frame read element by element: each grid node appears about
/// four times, with coordinate noise well inside the tolerance.
std::vector<zel::CPoint3D> FrameNodes(std::size_t count) {
  std::mt19937_64 rng(2024);
  const auto side = static_cast<int>(std::cbrt(static_cast<double>(count) / 4.0)) + 1;
  std::uniform_int_distribution<int> cell(0, side - 1);
  std::uniform_real_distribution<double> noise(-1e-5, 1e-5);
  std::vector<zel::CPoint3D> nodes(count);
  for (auto& p : nodes)
    p = {cell(rng) * 3.0 + noise(rng), cell(rng) * 3.0 + noise(rng), cell(rng) * 3.5 + noise(rng)};
  return nodes;
}

constexpr double kTol = 1e-3;

void BM_MergeGrid(benchmark::State& state) {
  const auto nodes = FrameNodes(static_cast<std::size_t>(state.range(0)));
  std::vector<unsigned int> map;
  for (auto _ : state) {
    zel::VPoint3D v(nodes.begin(), nodes.end());
    benchmark::DoNotOptimize(v.Merge(kTol, map));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_AddThroughIndex(benchmark::State& state) {
  const auto nodes = FrameNodes(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    zel::VPoint3D v;
    zel::CPointIndex3D index(v, kTol);
    for (const auto& p : nodes)
      benchmark::DoNotOptimize(index.Add(p));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The peer: every node scans the kept ones.
void BM_MergeScanPeer(benchmark::State& state) {
  const auto nodes = FrameNodes(static_cast<std::size_t>(state.range(0)));
  std::vector<unsigned int> map(nodes.size());
  for (auto _ : state) {
    std::vector<zel::CPoint3D> kept;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const auto& p = nodes[i];
      const auto it = std::find_if(kept.begin(), kept.end(), [&p](const zel::CPoint3D& q) {
        return std::fabs(q.x - p.x) <= kTol && std::fabs(q.y - p.y) <= kTol && std::fabs(q.z - p.z) <= kTol;
      });
      if (it == kept.end()) {
        kept.push_back(p);
        map[i] = static_cast<unsigned int>(kept.size());
      } else {
        map[i] = static_cast<unsigned int>(it - kept.begin() + 1);
      }
    }
    benchmark::DoNotOptimize(kept.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b, bool peer) {
  if (Smoke()) {
    b->Arg(64);
    return;
  }
  b->Arg(1000)->Arg(10000)->Arg(40000);
  if (!peer)
    b->Arg(1000000);
}

} // namespace

BENCHMARK(BM_MergeGrid)->Apply([](benchmark::internal::Benchmark* b) { Sizes(b, false); });
BENCHMARK(BM_AddThroughIndex)->Apply([](benchmark::internal::Benchmark* b) { Sizes(b, false); });
BENCHMARK(BM_MergeScanPeer)->Apply([](benchmark::internal::Benchmark* b) { Sizes(b, true); });

BENCHMARK_MAIN();
