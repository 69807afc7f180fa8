// The text readers against their standard peers, in one binary:
//  - CReadMemory::GetWord over a 100 MB generated text in memory, against a
//    std::istream >> std::string tokeniser over the same bytes (a stream
//    buffer on the memory, nothing copied);
//  - CFileText::GetString reading the lines of a 100 MB file into a
//    std::string and into a caller's buffer, against std::getline on a
//    std::ifstream of the same file.
// The text is a parameter file of the kind the applications read: keywords,
// names, quoted texts, numbers and number lists, lines of 20 to 80 bytes.
// ZEL_BENCH_SMOKE=1 shrinks it to 1 MB. The file goes to ZEL_BENCH_DIR
// (default /tmp).

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <istream>
#include <random>
#include <streambuf>
#include <string>
#include <unistd.h>
#include <vector>

#include "zeltools/text/file_text.h"
#include "zeltools/text/read_memory.h"

using zel::bench::Smoke;

namespace {

std::size_t TextBytes() { return Smoke() ? (1u << 20) : (100u << 20); }

const std::string& Text() {
  static const std::string text = [] {
    std::mt19937 rng(5);
    const char* keywords[] = {"NODE", "BEAM", "NAME", "MATERIAL", "LOAD", "SECTION", "GROUP"};
    std::string t;
    t.reserve(TextBytes() + 128);
    char piece[64];
    while (t.size() < TextBytes()) {
      t += keywords[rng() % 7];
      switch (rng() % 4) {
      case 0:
        std::snprintf(piece, sizeof piece, " %u %.4f %.4f %.4f", static_cast<unsigned>(rng() % 100000),
                      (rng() % 100000) / 7.0, (rng() % 100000) / 3.0, (rng() % 1000) / 9.0);
        break;
      case 1:
        std::snprintf(piece, sizeof piece, " = \"Beam %u of floor %u\"", static_cast<unsigned>(rng() % 1000),
                      static_cast<unsigned>(rng() % 40));
        break;
      case 2:
        std::snprintf(piece, sizeof piece, " %u - %u %u r %u %u;", static_cast<unsigned>(rng() % 500),
                      static_cast<unsigned>(500 + rng() % 500), static_cast<unsigned>(1000 + rng() % 100),
                      static_cast<unsigned>(2000 + rng() % 100), static_cast<unsigned>(2 + rng() % 8));
        break;
      default:
        std::snprintf(piece, sizeof piece, " E=%.1e nu=0.%u", 2.1e5 + rng() % 1000, static_cast<unsigned>(rng() % 50));
      }
      t += piece;
      t += '\n';
    }
    return t;
  }();
  return text;
}

std::string Path() { return zel::bench::Path("text"); }

bool fileMade = false;

// The text as a file, written once for both line readers.
const std::string& TextFile() {
  static const std::string path = [] {
    const std::string p = Path();
    fileMade = true;
    std::FILE* f = std::fopen(p.c_str(), "wb");
    if (f != nullptr) {
      std::fwrite(Text().data(), 1, Text().size(), f);
      std::fclose(f);
    }
    return p;
  }();
  return path;
}

// A read-only stream buffer over memory, so the peer reads the same bytes
// without a copy.
class MemoryBuffer : public std::streambuf {
public:
  MemoryBuffer(const char* data, std::size_t size) {
    char* p = const_cast<char*>(data);
    setg(p, p, p + size);
  }
};

void BM_GetWord_CReadMemory(benchmark::State& state) {
  const std::string& text = Text();
  std::size_t words = 0;
  for (auto _ : state) {
    zel::CReadMemory reader;
    reader.Init(text.data(), static_cast<unsigned int>(text.size()));
    std::string word;
    words = 0;
    while (reader.GetWord(word) >= 0)
      ++words;
    benchmark::DoNotOptimize(word.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * text.size()));
  state.counters["words"] = static_cast<double>(words);
}

void BM_GetWord_IstreamPeer(benchmark::State& state) {
  const std::string& text = Text();
  std::size_t words = 0;
  for (auto _ : state) {
    MemoryBuffer buffer(text.data(), text.size());
    std::istream in(&buffer);
    std::string word;
    words = 0;
    while (in >> word)
      ++words;
    benchmark::DoNotOptimize(word.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * text.size()));
  state.counters["words"] = static_cast<double>(words);
}

// Reads the whole text file line by line with `readLine(file)`.
template <class ReadLine>
void CFileTextLines(benchmark::State& state, ReadLine readLine) {
  const std::string& path = TextFile();
  std::size_t lines = 0;
  for (auto _ : state) {
    zel::CFileText file;
    if (!file.Open(path.c_str(), "r")) {
      state.SkipWithError("open failed");
      return;
    }
    for (lines = 0; file.IsEnd() == 0; ++lines)
      readLine(file);
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Text().size()));
  state.counters["lines"] = static_cast<double>(lines);
}

void BM_GetString_CFileText(benchmark::State& state) {
  std::string line;
  CFileTextLines(state, [&](zel::CFileText& file) {
    file.GetString(line);
    benchmark::DoNotOptimize(line.data());
  });
}

// The buffer form, the one the applications' parsers use: lines of at most
// 1023 characters into a caller's array.
void BM_GetString_CFileText_Buffer(benchmark::State& state) {
  char line[1024];
  CFileTextLines(state, [&](zel::CFileText& file) {
    file.GetString(line, sizeof line);
    benchmark::DoNotOptimize(line);
  });
}

void BM_GetString_GetlinePeer(benchmark::State& state) {
  const std::string& path = TextFile();
  std::size_t lines = 0;
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary);
    std::string line;
    lines = 0;
    while (std::getline(in, line))
      ++lines;
    benchmark::DoNotOptimize(line.data());
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Text().size()));
  state.counters["lines"] = static_cast<double>(lines);
}

// Not a peer but the floor both line readers stand on: the file's bytes
// copied from the system in 64 KB pieces, no line split.
void BM_GetString_ReadFloor(benchmark::State& state) {
  const std::string& path = TextFile();
  std::vector<char> buffer(65536);
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
      state.SkipWithError("open failed");
      return;
    }
    std::setvbuf(f, nullptr, _IONBF, 0);
    while (std::fread(buffer.data(), 1, buffer.size(), f) == buffer.size())
      benchmark::DoNotOptimize(buffer.data());
    std::fclose(f);
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * Text().size()));
}

BENCHMARK(BM_GetWord_CReadMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetWord_IstreamPeer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetString_CFileText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetString_CFileText_Buffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetString_GetlinePeer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetString_ReadFloor)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (fileMade)
    std::remove(TextFile().c_str());
  return 0;
}
