// CFileBase against its peers, in one binary:
//  - 10 million 4-byte records written, then read, through Write/Read with
//    default positions, against stdio fwrite/fread of the same records;
//  - 1 GB in 1 MB blocks, against plain write(2)/read(2).
// ZEL_BENCH_SMOKE=1 shrinks both to a few megabytes. The files go to
// ZEL_BENCH_DIR (default /tmp).

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "zeltools/files/file_base.h"

using zel::bench::Path;
using zel::bench::Smoke;

namespace {

unsigned int Records() { return Smoke() ? 100000u : 10000000u; }
constexpr std::size_t Block = 1u << 20;
std::size_t Blocks() { return Smoke() ? 4u : 1024u; }

// --- small records ---------------------------------------------------------------

void BM_Records_Write_CFileBase(benchmark::State& state) {
  const std::string path = Path("records_z");
  const unsigned int n = Records();
  for (auto _ : state) {
    zel::CFileBase f;
    f.Open(path.c_str(), "w");
    for (unsigned int i = 0; i < n; ++i)
      f.Write(&i, 4);
    f.Close();
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
  std::remove(path.c_str());
}

void BM_Records_Write_Stdio(benchmark::State& state) {
  const std::string path = Path("records_s");
  const unsigned int n = Records();
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    for (unsigned int i = 0; i < n; ++i)
      std::fwrite(&i, 4, 1, f);
    std::fclose(f);
  }
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
  std::remove(path.c_str());
}

std::string RecordFile() {
  const std::string path = Path("records_r");
  std::FILE* f = std::fopen(path.c_str(), "wb");
  for (unsigned int i = 0; i < Records(); ++i)
    std::fwrite(&i, 4, 1, f);
  std::fclose(f);
  return path;
}

void BM_Records_Read_CFileBase(benchmark::State& state) {
  const std::string path = RecordFile();
  const unsigned int n = Records();
  unsigned long long sum = 0;
  for (auto _ : state) {
    zel::CFileBase f;
    f.Open(path.c_str(), "r");
    unsigned int value = 0;
    for (unsigned int i = 0; i < n; ++i) {
      f.Read(&value, 4);
      sum += value;
    }
    f.Close();
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
  std::remove(path.c_str());
}

void BM_Records_Read_Stdio(benchmark::State& state) {
  const std::string path = RecordFile();
  const unsigned int n = Records();
  unsigned long long sum = 0;
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    unsigned int value = 0;
    for (unsigned int i = 0; i < n; ++i) {
      if (std::fread(&value, 4, 1, f) != 1)
        break;
      sum += value;
    }
    std::fclose(f);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
  std::remove(path.c_str());
}

// --- large blocks ------------------------------------------------------------------

std::vector<char> BlockData() {
  std::vector<char> data(Block);
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = static_cast<char>(i * 7);
  return data;
}

void BM_Blocks_Write_CFileBase(benchmark::State& state) {
  const std::string path = Path("blocks_z");
  const std::vector<char> data = BlockData();
  for (auto _ : state) {
    zel::CFileBase f;
    f.Open(path.c_str(), "w");
    for (std::size_t i = 0; i < Blocks(); ++i)
      f.Write(data.data(), data.size());
    f.Close();
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Blocks() * Block));
  std::remove(path.c_str());
}

void BM_Blocks_Write_Syscall(benchmark::State& state) {
  const std::string path = Path("blocks_s");
  const std::vector<char> data = BlockData();
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (std::size_t i = 0; i < Blocks(); ++i)
      if (::write(fd, data.data(), data.size()) != static_cast<ssize_t>(data.size()))
        state.SkipWithError("short write");
    ::close(fd);
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Blocks() * Block));
  std::remove(path.c_str());
}

std::string BlockFile() {
  const std::string path = Path("blocks_r");
  const std::vector<char> data = BlockData();
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  for (std::size_t i = 0; i < Blocks(); ++i)
    if (::write(fd, data.data(), data.size()) != static_cast<ssize_t>(data.size()))
      break;
  ::close(fd);
  return path;
}

void BM_Blocks_Read_CFileBase(benchmark::State& state) {
  const std::string path = BlockFile();
  std::vector<char> data(Block);
  for (auto _ : state) {
    zel::CFileBase f;
    f.Open(path.c_str(), "r");
    for (std::size_t i = 0; i < Blocks(); ++i)
      f.Read(data.data(), data.size());
    f.Close();
    benchmark::DoNotOptimize(data.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Blocks() * Block));
  std::remove(path.c_str());
}

void BM_Blocks_Read_Syscall(benchmark::State& state) {
  const std::string path = BlockFile();
  std::vector<char> data(Block);
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    for (std::size_t i = 0; i < Blocks(); ++i)
      if (::read(fd, data.data(), data.size()) != static_cast<ssize_t>(data.size()))
        state.SkipWithError("short read");
    ::close(fd);
    benchmark::DoNotOptimize(data.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Blocks() * Block));
  std::remove(path.c_str());
}

BENCHMARK(BM_Records_Write_CFileBase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Records_Write_Stdio)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Records_Read_CFileBase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Records_Read_Stdio)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Blocks_Write_CFileBase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Blocks_Write_Syscall)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Blocks_Read_CFileBase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Blocks_Read_Syscall)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
