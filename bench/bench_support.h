#pragma once
// What every benchmark program shares: the smoke switch CI uses and the
// folder the benchmark files go to.

#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace zel::bench {

/// ZEL_BENCH_SMOKE=1: CI's quick check, every size shrunk.
inline bool Smoke() {
  const char* smoke = std::getenv("ZEL_BENCH_SMOKE");
  return smoke != nullptr && std::strcmp(smoke, "1") == 0;
}

/// A file name of this process in ZEL_BENCH_DIR (default /tmp), so that
/// benchmarks can be pointed at tmpfs and two runs never share a file.
inline std::string Path(const char* name) {
  const char* dir = std::getenv("ZEL_BENCH_DIR");
  return std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/zel_bench_" + std::to_string(::getpid()) +
         "_" + name;
}

} // namespace zel::bench
