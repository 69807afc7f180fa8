// CData against its peers, in one binary:
//  - a table of 1 million lines (16 data bytes, a text, two lists of 1-10
//    numbers): building it, Compress, Write and Read, against write(2) and
//    read(2) of the same bytes in 1 MB pieces;
//  - 100,000 GetNumber look-ups on a table of 100,000 lines against a plain
//    scan of the same number lists from the last line up.
// ZEL_BENCH_SMOKE=1 shrinks the tables a hundredfold. Files go to
// ZEL_BENCH_DIR (default /tmp).

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "zeltools/datastore/data.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"

using zel::bench::Path;
using zel::bench::Smoke;

namespace {

unsigned int Lines() { return Smoke() ? 10000u : 1000000u; }
unsigned int LookupLines() { return Smoke() ? 1000u : 100000u; }
constexpr std::size_t Piece = 1u << 20;

// Line i holds the number i in its number list (base 0) among 0-9 others,
// and 1-10 numbers in base 1.
void Build(zel::CData& t, unsigned int lines) {
  t.Init(16, 16, 2);
  t.SetTypeBase(0, 12, 0);
  t.SetTypeBase(1, 12, 0);
  t.SetNumList(0);
  std::mt19937 rng(1);
  t.SetMaxSize(lines);
  unsigned int numbers[10];
  unsigned char data[16] = {};
  char text[32];
  for (unsigned int i = 1; i <= lines; ++i) {
    const unsigned int n = t.AddSize(1);
    std::snprintf(text, sizeof text, "Line %u", i);
    t.SetText(n, text);
    std::memcpy(data, &i, sizeof i);
    t.SetData(n, data);
    const unsigned int own = 1 + rng() % 10, other = 1 + rng() % 10;
    numbers[0] = i;
    for (unsigned int k = 1; k < own; ++k)
      numbers[k] = lines + 1 + rng() % lines; // numbers no line owns
    t.AppendList(n, own, numbers);
    for (unsigned int k = 0; k < other; ++k)
      numbers[k] = rng();
    t.AppendBase(n, 1, other, numbers);
  }
}

// --- the million-line table ----------------------------------------------------------

void BM_Table_Build(benchmark::State& state) {
  for (auto _ : state) {
    zel::CData t;
    Build(t, Lines());
    benchmark::DoNotOptimize(t.GetQuantity());
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * Lines());
}

void BM_Table_Compress(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    zel::CData t;
    Build(t, Lines());
    state.ResumeTiming();
    t.Compress();
    benchmark::DoNotOptimize(t.GetPortionCount());
    state.PauseTiming();
    t.Clear(); // not timed
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * Lines());
}

// The table, packed, and the bytes of its block, for the write and read pairs.
struct Stored {
  zel::CData table;
  std::vector<char> bytes;
  Stored() {
    Build(table, Lines());
    table.Compress();
    const std::string path = Path("data_block");
    zel::CFileBase f;
    f.Open(path.c_str(), "w");
    zel::DOCUMENT doc;
    table.Write(f, doc, 0);
    f.Close();
    bytes.resize(static_cast<std::size_t>(doc.length));
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0 || ::read(fd, bytes.data(), bytes.size()) != static_cast<long>(bytes.size()))
      std::abort();
    ::close(fd);
  }
};

Stored& Table() {
  static Stored stored;
  return stored;
}

void BM_Table_Write_CData(benchmark::State& state) {
  Stored& s = Table();
  const std::string path = Path("data_w");
  for (auto _ : state) {
    zel::CFileBase f;
    f.Open(path.c_str(), "w");
    zel::DOCUMENT doc;
    s.table.Write(f, doc, 0);
    f.Close();
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * s.bytes.size()));
  std::remove(path.c_str());
}

void BM_Table_Write_Syscall(benchmark::State& state) {
  Stored& s = Table();
  const std::string path = Path("data_ws");
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (std::size_t at = 0; at < s.bytes.size(); at += Piece)
      if (::write(fd, s.bytes.data() + at, std::min(Piece, s.bytes.size() - at)) < 0)
        std::abort();
    ::close(fd);
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * s.bytes.size()));
  std::remove(path.c_str());
}

std::string BlockFile() {
  Stored& s = Table();
  const std::string path = Path("data_r");
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0 || ::write(fd, s.bytes.data(), s.bytes.size()) != static_cast<long>(s.bytes.size()))
    std::abort();
  ::close(fd);
  return path;
}

void BM_Table_Read_CData(benchmark::State& state) {
  Stored& s = Table();
  const std::string path = BlockFile();
  const zel::DOCUMENT doc{0, static_cast<long long>(s.bytes.size())};
  for (auto _ : state) {
    zel::CData t;
    t.Init(16, 16, 2);
    t.SetTypeBase(0, 12, 0);
    t.SetTypeBase(1, 12, 0);
    zel::CFileBase f;
    f.Open(path.c_str(), "r");
    t.Read(f, doc);
    benchmark::DoNotOptimize(t.GetQuantity());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * s.bytes.size()));
  std::remove(path.c_str());
}

void BM_Table_Read_Syscall(benchmark::State& state) {
  Stored& s = Table();
  const std::string path = BlockFile();
  for (auto _ : state) {
    std::vector<char> into(s.bytes.size()); // new memory, as the table's
    const int fd = ::open(path.c_str(), O_RDONLY);
    for (std::size_t at = 0; at < into.size(); at += Piece)
      if (::read(fd, into.data() + at, std::min(Piece, into.size() - at)) < 0)
        std::abort();
    ::close(fd);
    benchmark::DoNotOptimize(into.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * s.bytes.size()));
  std::remove(path.c_str());
}

// --- look-up by number ---------------------------------------------------------------

std::vector<unsigned int> Queries(unsigned int lines) {
  std::mt19937 rng(2);
  std::vector<unsigned int> q(lines);
  for (auto& v : q)
    v = 1 + rng() % lines;
  return q;
}

void BM_Lookup_GetNumber(benchmark::State& state) {
  zel::CData t;
  Build(t, LookupLines());
  const std::vector<unsigned int> queries = Queries(LookupLines());
  unsigned long long sum = 0;
  for (auto _ : state) {
    for (unsigned int q : queries)
      sum += t.GetNumber(q);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * queries.size()));
}

// The same with an edit before every round of look-ups, so that each round
// pays for building the index again.
void BM_Lookup_GetNumber_AfterEdit(benchmark::State& state) {
  zel::CData t;
  Build(t, LookupLines());
  const std::vector<unsigned int> queries = Queries(LookupLines());
  unsigned long long sum = 0;
  unsigned char data[16] = {};
  for (auto _ : state) {
    ++data[15];
    t.SetData(1, data);
    for (unsigned int q : queries)
      sum += t.GetNumber(q);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * queries.size()));
}

// The peer: the same lists copied into plain vectors, scanned from the last
// line to the first for the highest line holding the number.
void BM_Lookup_LinearScan(benchmark::State& state) {
  zel::CData t;
  Build(t, LookupLines());
  std::vector<std::vector<unsigned int>> lists(t.GetQuantity());
  for (unsigned int n = 1; n <= t.GetQuantity(); ++n)
    t.GetList(n, lists[n - 1]);
  // A hundredth of the queries: the scan's rate is the same and the run
  // stays short.
  std::vector<unsigned int> queries = Queries(LookupLines());
  queries.resize(queries.size() / 100);
  unsigned long long sum = 0;
  for (auto _ : state) {
    for (unsigned int q : queries) {
      for (std::size_t n = lists.size(); n >= 1; --n)
        if (std::find(lists[n - 1].begin(), lists[n - 1].end(), q) != lists[n - 1].end()) {
          sum += n;
          break;
        }
    }
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<long long>(state.iterations() * queries.size()));
}

} // namespace

BENCHMARK(BM_Table_Build)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table_Compress)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table_Write_CData)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table_Write_Syscall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table_Read_CData)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table_Read_Syscall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Lookup_GetNumber)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Lookup_GetNumber_AfterEdit)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Lookup_LinearScan)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
