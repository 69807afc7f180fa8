// VDblData::Append's duplicate search against its peer, in one binary: a
// table of 2,000 named rows of 8 doubles (4 types), then 2,000 appends of
// rows already held, each found by the scan from line 1. The peer scans a
// std::vector of (name, type, values) records by the same rule with the
// same comparison. ZEL_BENCH_SMOKE=1 shrinks both tenfold.

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zeltools/containers/compare.h"
#include "zeltools/datastore/data_file.h"

using zel::bench::Smoke;

namespace {

unsigned int Rows() { return Smoke() ? 200u : 2000u; }
constexpr unsigned int Values = 8;

struct Row {
  std::string name;
  unsigned char type;
  std::vector<double> values;
};

std::vector<Row> MakeRows() {
  std::vector<Row> rows;
  std::mt19937_64 rng(3);
  for (unsigned int i = 0; i < Rows(); ++i) {
    Row r{"Row " + std::to_string(i), static_cast<unsigned char>(i % 4), std::vector<double>(Values)};
    for (double& v : r.values)
      v = static_cast<double>(rng() % 1000000) / 7.0;
    rows.push_back(std::move(r));
  }
  return rows;
}

// The order in which the held rows are asked for again.
std::vector<unsigned int> Queries() {
  std::vector<unsigned int> q(Rows());
  std::mt19937 rng(4);
  for (unsigned int& i : q)
    i = static_cast<unsigned int>(rng() % Rows());
  return q;
}

void BM_DblDataAppendFindsHeldRow(benchmark::State& state) {
  const auto rows = MakeRows();
  const auto queries = Queries();
  zel::VDblData table;
  for (const Row& r : rows)
    table.Append(r.name.c_str(), Values, r.values.data(), r.type);
  for (auto _ : state)
    for (unsigned int i : queries)
      benchmark::DoNotOptimize(table.Append(rows[i].name.c_str(), Values, rows[i].values.data(), rows[i].type));
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(queries.size()));
}

void BM_PeerVectorScanFindsHeldRow(benchmark::State& state) {
  const auto rows = MakeRows();
  const auto queries = Queries();
  for (auto _ : state)
    for (unsigned int i : queries) {
      unsigned int found = 0;
      for (unsigned int n = 0; n < rows.size() && found == 0; ++n)
        if (rows[n].type == rows[i].type && rows[n].name == rows[i].name &&
            zel::CompareDouble(Values, rows[n].values.data(), Values, rows[i].values.data(), 1e-6) == 0)
          found = n + 1;
      benchmark::DoNotOptimize(found);
    }
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(queries.size()));
}

BENCHMARK(BM_DblDataAppendFindsHeldRow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PeerVectorScanFindsHeldRow)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
