// zeltool solve on the largest matrix kept in the repository, beside the
// band solver called directly on the same rows: the factor time the tool
// reports against GaussTapeDirect timed here the same way (wall clock
// around the call alone). Both factorise the file's own numbering
// (--no-renumber; RenumberBand keeps it for this matrix anyway), so the
// ratio shows what the tool adds to the library's work.
// ZEL_BENCH_SMOKE=1 takes the smallest matrix instead.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "band_system.h"
#include "matrix_market.h"

namespace {

std::string Matrix() {
  const bool smoke = std::getenv("ZEL_BENCH_SMOKE") != nullptr;
  return std::string(ZEL_BENCH_DATA_DIR) + "/matrices/" + (smoke ? "bcsstk01" : "bcsstk18") + ".mtx.gz";
}

// Runs the tool and returns its report; empty when it failed.
std::string RunTool(const std::string& arguments) {
  const std::string command = std::string(ZEL_ZELTOOL_PATH) + " " + arguments + " 2>/dev/null";
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
      out.append(buffer, got);
    if (pclose(pipe) != 0)
      out.clear();
  }
  return out;
}

// The milliseconds on the report's "factor" line; negative when absent.
double FactorMilliseconds(const std::string& report) {
  const std::size_t at = report.find("\nfactor ");
  return at == std::string::npos ? -1.0 : std::strtod(report.c_str() + at + 8, nullptr);
}

void BM_ZeltoolSolveFactor(benchmark::State& state) {
  const std::string arguments = "solve --no-renumber " + Matrix();
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const double ms = FactorMilliseconds(RunTool(arguments));
    const double whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (ms < 0) {
      state.SkipWithError("zeltool solve failed");
      return;
    }
    state.SetIterationTime(ms / 1e3);
    state.counters["whole_run_s"] = whole;
  }
}
BENCHMARK(BM_ZeltoolSolveFactor)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_GaussTapeDirectSameRows(benchmark::State& state) {
  const std::string file = Matrix();
  const zeltool::SymmetricMatrix m = zeltool::ReadSymmetricMatrix(zeltool::ReadFileBytes(file), file);
  std::vector<unsigned> position(m.n);
  for (unsigned i = 0; i < m.n; ++i)
    position[i] = i;
  for (auto _ : state) {
    zeltool::BandSystem band = zeltool::AssembleBand(m, position);
    const auto start = std::chrono::steady_clock::now();
    zel::GaussTapeDirect(m.n, band.rows.data());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    benchmark::DoNotOptimize(band.values.data());
  }
}
BENCHMARK(BM_GaussTapeDirectSameRows)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
