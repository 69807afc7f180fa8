// An array of a million lists of 1 to 20 numbers: building it by Append,
// Compress, and its block Write and Read through the library's file, beside
// plain write(2)/read(2) of the same number of bytes in the same run.
//
// The peers write the same bytes in 1 MB pieces to a truncated file and read
// them back, into a buffer touched before (the bare system bandwidth) and
// into a buffer allocated for the purpose (which, like Read, pays for
// bringing fresh memory into use).

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zeltools/containers/vector_array.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"

namespace {

using Lists = zel::VectorArray<unsigned int, unsigned int>;

unsigned int ListCount() {
  const char* smoke = std::getenv("ZEL_BENCH_SMOKE");
  return smoke != nullptr && smoke[0] == '1' ? 1000u : 1000000u;
}

std::string ScratchPath(const char* stem) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir != nullptr ? dir : "/tmp") + "/" + stem + "_" + std::to_string(::getpid()) + ".bin";
}

struct Source {
  std::vector<unsigned int> counts;
  std::vector<unsigned int> values; // all lists back to back
};

const Source& Data() {
  static const Source data = [] {
    Source s;
    std::mt19937 rng(42);
    s.counts.resize(ListCount());
    for (auto& c : s.counts) {
      c = 1 + rng() % 20;
      for (unsigned int k = 0; k < c; ++k)
        s.values.push_back(rng());
    }
    return s;
  }();
  return data;
}

Lists Build() {
  const Source& s = Data();
  Lists lists;
  const unsigned int* p = s.values.data();
  for (unsigned int c : s.counts) {
    lists.Append(c, p);
    p += c;
  }
  return lists;
}

// A written block kept for the read benchmarks.
struct Stored {
  std::string path = ScratchPath("zel_vector_array_bench");
  zel::CFileBase file;
  zel::DOCUMENT doc;
  Stored() {
    file.Open(path.c_str(), "wr");
    Lists lists = Build();
    lists.Compress();
    lists.Write(file, doc);
    file.Flush();
  }
  ~Stored() {
    file.Close();
    std::remove(path.c_str());
  }
};

Stored& Block() {
  static Stored stored;
  return stored;
}

void BM_BuildByAppend(benchmark::State& state) {
  for (auto _ : state) {
    Lists lists = Build();
    benchmark::DoNotOptimize(lists.GetSize());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * ListCount());
}

void BM_Compress(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Lists lists = Build();
    state.ResumeTiming();
    lists.Compress();
    benchmark::DoNotOptimize(lists.GetElemPoint(0));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * ListCount());
}

void BM_Write(benchmark::State& state) {
  Lists lists = Build();
  lists.Compress();
  const std::string path = ScratchPath("zel_vector_array_write");
  zel::CFileBase file;
  file.Open(path.c_str(), "wr");
  zel::DOCUMENT doc;
  for (auto _ : state) {
    file.SetLength(0);
    lists.Write(file, doc);
    file.SetLength(file.GetLength()); // writes back the cache: all bytes reached the system
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * doc.length);
  file.Close();
  std::remove(path.c_str());
}

void BM_Read(benchmark::State& state) {
  Stored& stored = Block();
  for (auto _ : state) {
    Lists lists;
    lists.Read(stored.file, stored.doc);
    benchmark::DoNotOptimize(lists.GetElemPoint(0));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * stored.doc.length);
}

// --- peers: the system calls alone on the same number of bytes ------------

constexpr std::size_t Piece = 1u << 20;

void BM_PlainWrite(benchmark::State& state) {
  const std::size_t bytes = static_cast<std::size_t>(Block().doc.length);
  std::vector<unsigned char> buffer(bytes, 0x5A);
  const std::string path = ScratchPath("zel_plain_write");
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  for (auto _ : state) {
    if (::ftruncate(fd, 0) != 0)
      state.SkipWithError("ftruncate");
    for (std::size_t at = 0; at < bytes; at += Piece) {
      const std::size_t n = std::min(Piece, bytes - at);
      if (::pwrite(fd, buffer.data() + at, n, static_cast<off_t>(at)) != static_cast<ssize_t>(n))
        state.SkipWithError("pwrite");
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  ::close(fd);
  std::remove(path.c_str());
}

void PlainRead(benchmark::State& state, bool freshBuffer) {
  Stored& stored = Block();
  const std::size_t bytes = static_cast<std::size_t>(stored.doc.length);
  const int fd = ::open(stored.path.c_str(), O_RDONLY);
  std::vector<unsigned char> warm(bytes, 1);
  for (auto _ : state) {
    unsigned char* buffer = warm.data();
    if (freshBuffer)
      buffer = static_cast<unsigned char*>(std::malloc(bytes));
    for (std::size_t at = 0; at < bytes; at += Piece) {
      const std::size_t n = std::min(Piece, bytes - at);
      if (::pread(fd, buffer + at, n, static_cast<off_t>(stored.doc.position + static_cast<long long>(at))) !=
          static_cast<ssize_t>(n))
        state.SkipWithError("pread");
    }
    benchmark::DoNotOptimize(buffer[bytes / 2]);
    if (freshBuffer)
      std::free(buffer);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  ::close(fd);
}

void BM_PlainReadWarmBuffer(benchmark::State& state) { PlainRead(state, false); }
void BM_PlainReadFreshBuffer(benchmark::State& state) { PlainRead(state, true); }

BENCHMARK(BM_BuildByAppend)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Compress)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainReadWarmBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainReadFreshBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
