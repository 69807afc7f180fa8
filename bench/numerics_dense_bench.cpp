// The dense Gauss solver and the band solver against LAPACK: the
// distribution's reference LAPACK (over the reference BLAS) and OpenBLAS,
// both loaded at run time into this one process; CHOLMOD (when installed)
// for the band systems with its natural and its default ordering; and a
// plain textbook profile LDLᵀ. The library and the threaded peers run with
// the thread count in the benchmark's name (".../threads:2").
//
// Times are wall-clock per call (factorisation and one solution), measured
// around the call alone; the copy of the input that each call consumes is
// made outside the timed region. ZEL_BENCH_SMOKE=1 shrinks every size to
// seconds.

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif
#if __has_include(<suitesparse/cholmod.h>)
#include <suitesparse/cholmod.h>
#define ZEL_BENCH_CHOLMOD 1
#endif

#include "zeltools/numerics/band.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/simd_level.h"
#include "zeltools/numerics/internal/thread_pool.h"
#include "zeltools/numerics/renumber.h"
#include "zeltools/numerics/threads.h"
#include "matrix_market.h" // zeltool's reader

namespace {

// The matrices are the repository's test data; ZEL_DATA_DIR names another
// folder of the same layout.
std::string DataFolder() {
  if (const char* d = std::getenv("ZEL_DATA_DIR"))
    return d;
  return ZEL_BENCH_DATA_DIR;
}

bool Smoke() {
  const char* s = std::getenv("ZEL_BENCH_SMOKE");
  return s != nullptr && std::strcmp(s, "1") == 0;
}

// ---------------------------------------------------------------------------
// LAPACK peers, each in its own dlopen namespace-free RTLD_LOCAL handle.

using Dgesv = void (*)(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b, const int* ldb,
                       int* info);
using Dpbsv = void (*)(const char* uplo, const int* n, const int* kd, const int* nrhs, double* ab, const int* ldab,
                       double* b, const int* ldb, int* info, std::size_t uploLength);
using Dpbtrf = void (*)(const char* uplo, const int* n, const int* kd, double* ab, const int* ldab, int* info,
                        std::size_t uploLength);
using Dpbtrs = void (*)(const char* uplo, const int* n, const int* kd, const int* nrhs, const double* ab,
                        const int* ldab, double* b, const int* ldb, int* info, std::size_t uploLength);

struct Lapack {
  std::string name;
  Dgesv dgesv = nullptr;
  Dpbsv dpbsv = nullptr;
  Dpbtrf dpbtrf = nullptr; // the factorisation and the substitution apart
  Dpbtrs dpbtrs = nullptr;
  void (*threads)(int) = nullptr; // OpenBLAS's thread count; none for the reference
  explicit operator bool() const { return dgesv != nullptr && dpbsv != nullptr; }
};

void* Open(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }

// The reference LAPACK needs "libblas.so.3"; the reference BLAS is loaded
// first under that name so that the loader binds to it rather than to the
// system's alternative, which may well be OpenBLAS.
Lapack LoadReference() {
  Lapack l;
  l.name = "reference";
  void* blas = Open("/usr/lib/x86_64-linux-gnu/blas/libblas.so.3");
  void* lapack = blas ? Open("/usr/lib/x86_64-linux-gnu/lapack/liblapack.so.3") : nullptr;
  if (lapack == nullptr)
    return l;
  // Check the binding: the dgemm seen from the LAPACK handle must be the
  // reference BLAS's.
  if (dlsym(lapack, "dgemm_") != dlsym(blas, "dgemm_")) {
    std::fprintf(stderr, "reference LAPACK is not bound to the reference BLAS; skipped\n");
    return l;
  }
  l.dgesv = reinterpret_cast<Dgesv>(dlsym(lapack, "dgesv_"));
  l.dpbsv = reinterpret_cast<Dpbsv>(dlsym(lapack, "dpbsv_"));
  return l;
}

Lapack LoadOpenBlas() {
  Lapack l;
  l.name = "openblas";
  const char* paths[] = {"/usr/lib/x86_64-linux-gnu/openblas-pthread/libopenblas.so.0",
                         "/usr/lib/x86_64-linux-gnu/openblas-openmp/libopenblas.so.0",
                         "/usr/lib/x86_64-linux-gnu/openblas-serial/libopenblas.so.0", "libopenblas.so.0"};
  void* h = nullptr;
  for (const char* p : paths)
    if ((h = Open(p)) != nullptr)
      break;
  if (h == nullptr)
    return l;
  l.threads = reinterpret_cast<void (*)(int)>(dlsym(h, "openblas_set_num_threads"));
  l.dgesv = reinterpret_cast<Dgesv>(dlsym(h, "dgesv_"));
  l.dpbsv = reinterpret_cast<Dpbsv>(dlsym(h, "dpbsv_"));
  l.dpbtrf = reinterpret_cast<Dpbtrf>(dlsym(h, "dpbtrf_"));
  l.dpbtrs = reinterpret_cast<Dpbtrs>(dlsym(h, "dpbtrs_"));
  return l;
}

const Lapack& Reference() {
  static const Lapack l = LoadReference();
  return l;
}
const Lapack& OpenBlas() {
  static const Lapack l = LoadOpenBlas();
  return l;
}

// Wall-clock time: with several threads nothing else measures the call.
// On a shared machine it includes time spent descheduled, so figures are
// taken when the machine is quiet, and ratios within one run are compared.
double WallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// CPU time of the calling thread: on a loaded machine the fair measure of a
// one-thread call, since it leaves out the time spent descheduled.
double CallerCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Times one call: wall clock as the benchmark's time, the caller's CPU time
// (milliseconds per call) as the counter caller_cpu_ms.
template <class F>
void Timed(benchmark::State& state, F&& call) {
  const double t0 = WallSeconds(), c0 = CallerCpuSeconds();
  call();
  state.SetIterationTime(WallSeconds() - t0);
  benchmark::Counter& cpu = state.counters["caller_cpu_ms"];
  cpu.flags = benchmark::Counter::kAvgIterations;
  cpu.value += 1e3 * (CallerCpuSeconds() - c0);
}

// The thread count of the benchmark (its argument `index`) for the library
// and for OpenBLAS.
int UseThreads(benchmark::State& state, int index, void (*peerThreads)(int) = nullptr) {
  const int threads = static_cast<int>(state.range(index));
  zel::SetNumThreads(static_cast<unsigned>(threads));
  if (peerThreads != nullptr)
    peerThreads(threads);
  return threads;
}

void Rate(benchmark::State& state, double flops) {
  state.counters["GFLOP/s"] = benchmark::Counter(flops * 1e-9, benchmark::Counter::kIsIterationInvariantRate);
}

// The calling thread's CPU time of one call, in seconds.
template <class F>
double CpuOf(F&& call) {
  const double c0 = CallerCpuSeconds();
  call();
  return CallerCpuSeconds() - c0;
}

double Median(std::vector<double> v) {
  std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

// One thread, the library against a peer call by call: each iteration runs
// the library's call and the peer's on the same input back to back (each
// returns its caller CPU time), so the two of a pair meet nearly the same
// load, which separate benchmarks a few seconds apart do not on a shared
// machine. Reported: the median of each side (zel_ms, peer_ms) and the
// median of the pairs' ratios peer / library (above 1: the library is
// faster).
template <class Zel, class Peer>
void Paired(benchmark::State& state, Zel&& zel, Peer&& peer) {
  zel::SetNumThreads(1);
  std::vector<double> z, p, ratio;
  for (auto _ : state) {
    const double t0 = WallSeconds();
    z.push_back(zel());
    p.push_back(peer());
    ratio.push_back(p.back() / z.back());
    state.SetIterationTime(WallSeconds() - t0);
  }
  state.counters["zel_ms"] = 1e3 * Median(z);
  state.counters["peer_ms"] = 1e3 * Median(p);
  state.counters["peer_over_zel"] = Median(ratio);
}

// Pairs per benchmark: about 15 GFLOP of the library's work, 5 to 40 pairs.
int PairsFor(double flops) {
  return Smoke() ? 1 : static_cast<int>(std::clamp(1.5e10 / flops, 5.0, 40.0));
}

// ---------------------------------------------------------------------------
// Dense systems.

std::vector<double> RandomMatrix(int n, unsigned seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> v(-1.0, 1.0);
  std::vector<double> a(std::size_t(n) * n);
  for (double& x : a)
    x = v(rng);
  return a;
}

void DenseZel(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  UseThreads(state, 1);
  const std::vector<double> a0 = RandomMatrix(n, 1), b0 = RandomMatrix(1, 2);
  std::vector<double> a, b(n, 1.0);
  for (auto _ : state) {
    a = a0;
    std::fill(b.begin(), b.end(), 1.0);
    Timed(state, [&] { zel::Gauss(static_cast<unsigned>(n), a.data(), 1, b.data(), 0, 0.0); });
  }
  Rate(state, 2.0 * n * double(n) * n / 3.0);
}

void DenseLapack(benchmark::State& state, const Lapack& l) {
  if (!l) {
    state.SkipWithError((l.name + " LAPACK not found").c_str());
    return;
  }
  const int n = static_cast<int>(state.range(0)), one = 1;
  UseThreads(state, 1, l.threads);
  const std::vector<double> a0 = RandomMatrix(n, 1);
  std::vector<double> a, b(n);
  std::vector<int> ipiv(n);
  for (auto _ : state) {
    a = a0;
    std::fill(b.begin(), b.end(), 1.0);
    int info = 0;
    Timed(state, [&] { l.dgesv(&n, &one, a.data(), &n, ipiv.data(), b.data(), &n, &info); });
  }
  Rate(state, 2.0 * n * double(n) * n / 3.0);
}

void DensePaired(benchmark::State& state, const Lapack& l) {
  if (!l) {
    state.SkipWithError((l.name + " LAPACK not found").c_str());
    return;
  }
  const int n = static_cast<int>(state.range(0)), one = 1;
  if (l.threads != nullptr)
    l.threads(1);
  const std::vector<double> a0 = RandomMatrix(n, 1);
  std::vector<double> a, b(n);
  std::vector<int> ipiv(n);
  int info = 0;
  Paired(
      state,
      [&] {
        a = a0;
        std::fill(b.begin(), b.end(), 1.0);
        return CpuOf([&] { zel::Gauss(static_cast<unsigned>(n), a.data(), 1, b.data(), 0, 0.0); });
      },
      [&] {
        a = a0;
        std::fill(b.begin(), b.end(), 1.0);
        return CpuOf([&] { l.dgesv(&n, &one, a.data(), &n, ipiv.data(), b.data(), &n, &info); });
      });
}

// ---------------------------------------------------------------------------
// Band systems: assembled from elements on a grid of nodes, so the matrix is
// symmetric positive definite and its band is full after fill-in.

struct SymmetricSystem {
  std::string name;
  unsigned n = 0;
  std::vector<unsigned> rowOf, colOf; // lower triangle: row >= col
  std::vector<double> value;
};

// nx × ny (× nz) nodes with `dof` unknowns each; every element couples all
// the unknowns of its 4 (8) nodes with the matrix s·(I − J/(m+1)), m the
// element's unknowns, s a random scale: a sum of positive definite terms.
SymmetricSystem GridSystem(unsigned nx, unsigned ny, unsigned nz, unsigned dof) {
  SymmetricSystem s;
  const bool solid = nz > 1;
  s.n = nx * ny * nz * dof;
  std::ostringstream name;
  name << (solid ? "grid3d_" : "grid2d_") << nx << "x" << ny;
  if (solid)
    name << "x" << nz;
  name << "x" << dof << "dof";
  s.name = name.str();
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> scale(0.5, 1.5);
  std::vector<std::vector<std::pair<unsigned, double>>> lower(s.n);
  auto add = [&](unsigned i, unsigned j, double v) {
    if (i < j)
      std::swap(i, j);
    for (auto& e : lower[i])
      if (e.first == j) {
        e.second += v;
        return;
      }
    lower[i].emplace_back(j, v);
  };
  const unsigned ez = solid ? nz - 1 : 1;
  std::vector<unsigned> dofs;
  for (unsigned z = 0; z < ez; ++z)
    for (unsigned y = 0; y + 1 < ny; ++y)
      for (unsigned x = 0; x + 1 < nx; ++x) {
        dofs.clear();
        for (unsigned dz = 0; dz < (solid ? 2u : 1u); ++dz)
          for (unsigned dy = 0; dy < 2; ++dy)
            for (unsigned dx = 0; dx < 2; ++dx) {
              const unsigned node = ((z + dz) * ny + (y + dy)) * nx + (x + dx);
              for (unsigned d = 0; d < dof; ++d)
                dofs.push_back(node * dof + d);
            }
        const double sc = scale(rng), off = -sc / double(dofs.size() + 1);
        for (std::size_t a = 0; a < dofs.size(); ++a)
          for (std::size_t b = 0; b <= a; ++b)
            add(dofs[a], dofs[b], a == b ? sc + off : off);
      }
  for (unsigned i = 0; i < s.n; ++i) {
    std::sort(lower[i].begin(), lower[i].end());
    for (auto& e : lower[i]) {
      s.rowOf.push_back(i);
      s.colOf.push_back(e.first);
      s.value.push_back(e.second);
    }
  }
  return s;
}

bool ReadMatrixMarket(const std::string& path, SymmetricSystem& s) {
  const std::string file = path.substr(path.find_last_of('/') + 1);
  zeltool::SymmetricMatrix m;
  try {
    m = zeltool::ReadSymmetricMatrix(zeltool::ReadFileBytes(path), file);
  } catch (const zeltool::InputError& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return false;
  }
  s.n = m.n;
  s.name = file.substr(0, file.find('.'));
  for (const zeltool::Entry& e : m.lower) {
    s.rowOf.push_back(e.row);
    s.colOf.push_back(e.col);
    s.value.push_back(e.value);
  }
  return true;
}

SymmetricSystem Renumbered(const SymmetricSystem& s) {
  std::vector<unsigned> start(s.n + 1, 0), adjacent(s.value.size());
  for (unsigned c : s.colOf)
    ++start[c + 1];
  for (unsigned i = 0; i < s.n; ++i)
    start[i + 1] += start[i];
  std::vector<unsigned> fill(start.begin(), start.end() - 1);
  for (std::size_t k = 0; k < s.value.size(); ++k)
    adjacent[fill[s.colOf[k]]++] = s.rowOf[k];
  const zel::SRenumber r = zel::RenumberBand(s.n, start.data(), adjacent.data());
  SymmetricSystem t = s;
  t.name += "_renumbered";
  for (std::size_t k = 0; k < s.value.size(); ++k) {
    unsigned a = r.position[s.rowOf[k]], b = r.position[s.colOf[k]];
    t.rowOf[k] = std::max(a, b);
    t.colOf[k] = std::min(a, b);
  }
  return t;
}

// The solver's rows (counts by the running reach), their stored values, and
// the arithmetic of the factorisation (two operations per update).
struct BandForm {
  std::vector<std::size_t> offset;
  std::vector<unsigned> count;
  std::vector<double> values;
  unsigned halfBand = 0;
  double flops = 0;
};

BandForm ToBand(const SymmetricSystem& s) {
  BandForm f;
  std::vector<unsigned> reach(s.n);
  for (unsigned i = 0; i < s.n; ++i)
    reach[i] = i;
  for (std::size_t k = 0; k < s.value.size(); ++k) {
    reach[s.colOf[k]] = std::max(reach[s.colOf[k]], s.rowOf[k]);
    f.halfBand = std::max(f.halfBand, s.rowOf[k] - s.colOf[k]);
  }
  f.offset.assign(s.n + 1, 0);
  f.count.resize(s.n);
  unsigned farthest = 0;
  for (unsigned i = 0; i < s.n; ++i) {
    farthest = std::max(farthest, reach[i]);
    f.count[i] = farthest - i + 1;
    f.offset[i + 1] = f.offset[i] + f.count[i];
    f.flops += double(f.count[i]) * double(f.count[i] - 1);
  }
  f.values.assign(f.offset[s.n], 0.0);
  for (std::size_t k = 0; k < s.value.size(); ++k)
    f.values[f.offset[s.colOf[k]] + (s.rowOf[k] - s.colOf[k])] = s.value[k];
  return f;
}

struct BandCase {
  SymmetricSystem system;
  BandForm band;
};

std::vector<std::unique_ptr<BandCase>>& Cases() {
  static std::vector<std::unique_ptr<BandCase>> cases;
  return cases;
}

void BandZel(benchmark::State& state, const BandCase* c) {
  const unsigned n = c->system.n;
  UseThreads(state, 0);
  std::vector<double> values;
  std::vector<zel::GAUSS_TAPE> rows(n);
  std::vector<double> b(n);
  for (auto _ : state) {
    values = c->band.values;
    for (unsigned i = 0; i < n; ++i)
      rows[i] = {c->band.count[i], values.data() + c->band.offset[i]};
    std::fill(b.begin(), b.end(), 1.0);
    Timed(state, [&] { zel::GaussTape(n, rows.data(), 1, b.data()); });
  }
  Rate(state, c->band.flops);
  state.counters["profile"] = double(c->band.values.size());
}

// LAPACK's band storage: the upper triangle, kd + 1 rows, column-major.
std::vector<double> LapackBand(const SymmetricSystem& s, unsigned kd) {
  std::vector<double> ab(std::size_t(kd + 1) * s.n, 0.0);
  for (std::size_t k = 0; k < s.value.size(); ++k) {
    const unsigned i = s.colOf[k], j = s.rowOf[k]; // upper: i <= j
    ab[std::size_t(j) * (kd + 1) + kd + i - j] = s.value[k];
  }
  return ab;
}

void BandLapack(benchmark::State& state, const BandCase* c, const Lapack& l) {
  if (!l) {
    state.SkipWithError((l.name + " LAPACK not found").c_str());
    return;
  }
  UseThreads(state, 0, l.threads);
  const int n = static_cast<int>(c->system.n), kd = static_cast<int>(c->band.halfBand), ldab = kd + 1, one = 1;
  const std::vector<double> ab0 = LapackBand(c->system, c->band.halfBand);
  std::vector<double> ab, b(n);
  int info = 0;
  for (auto _ : state) {
    ab = ab0;
    std::fill(b.begin(), b.end(), 1.0);
    Timed(state, [&] { l.dpbsv("U", &n, &kd, &one, ab.data(), &ldab, b.data(), &n, &info, 1); });
  }
  if (info != 0)
    state.SkipWithError("dpbsv failed");
  // The band's own arithmetic: n·kd² less the corner.
  double flops = 0;
  for (int i = 0; i < n; ++i) {
    const double w = std::min(kd, n - 1 - i);
    flops += w * (w + 1);
  }
  Rate(state, flops);
}

void BandPaired(benchmark::State& state, const BandCase* c, const Lapack& l) {
  if (!l) {
    state.SkipWithError((l.name + " LAPACK not found").c_str());
    return;
  }
  if (l.threads != nullptr)
    l.threads(1);
  const unsigned n = c->system.n;
  std::vector<double> values, b(n);
  std::vector<zel::GAUSS_TAPE> rows(n);
  const int order = static_cast<int>(n), kd = static_cast<int>(c->band.halfBand), ldab = kd + 1, one = 1;
  const std::vector<double> ab0 = LapackBand(c->system, c->band.halfBand);
  std::vector<double> ab;
  int info = 0;
  Paired(
      state,
      [&] {
        values = c->band.values;
        for (unsigned i = 0; i < n; ++i)
          rows[i] = {c->band.count[i], values.data() + c->band.offset[i]};
        std::fill(b.begin(), b.end(), 1.0);
        return CpuOf([&] { zel::GaussTape(n, rows.data(), 1, b.data()); });
      },
      [&] {
        ab = ab0;
        std::fill(b.begin(), b.end(), 1.0);
        return CpuOf([&] { l.dpbsv("U", &order, &kd, &one, ab.data(), &ldab, b.data(), &order, &info, 1); });
      });
  if (info != 0)
    state.SkipWithError("dpbsv failed");
}

// The substitution alone, for m right-hand sides, with a matrix that each
// side has factorised once beforehand: the repeated solution that the
// factors are kept for. It streams the whole profile twice and does little
// arithmetic on each element, so memory and the chains of the backward
// pass, not the multiplications, set its pace.
struct Substitution {
  unsigned n = 0, m = 0;
  int order = 0, kd = 0, ldab = 0, nrhs = 0, info = 0;
  std::vector<double> values, ab, b0;
  std::vector<zel::GAUSS_TAPE> rows;

  // Empty (n = 0) when the peer lacks the routines or fails.
  Substitution(const BandCase* c, const Lapack& l, unsigned rightHandSides)
      : m(rightHandSides), order(static_cast<int>(c->system.n)), kd(static_cast<int>(c->band.halfBand)),
        ldab(kd + 1), nrhs(static_cast<int>(rightHandSides)), values(c->band.values),
        ab(LapackBand(c->system, c->band.halfBand)), rows(c->system.n) {
    if (l.dpbtrf == nullptr || l.dpbtrs == nullptr)
      return;
    for (unsigned i = 0; i < c->system.n; ++i)
      rows[i] = {c->band.count[i], values.data() + c->band.offset[i]};
    zel::GaussTapeDirect(c->system.n, rows.data());
    l.dpbtrf("U", &order, &kd, ab.data(), &ldab, &info, 1);
    if (info != 0)
      return;
    n = c->system.n;
    b0.resize(std::size_t(n) * m);
    for (std::size_t k = 0; k < b0.size(); ++k)
      b0[k] = 1.0 + double(k / n);
  }
  void Zel(std::vector<double>& b) { zel::GaussTapeBack(n, rows.data(), m, b.data()); }
  void Peer(const Lapack& l, std::vector<double>& b) {
    l.dpbtrs("U", &order, &kd, &nrhs, ab.data(), &ldab, b.data(), &order, &info, 1);
  }
};

// One thread, call by call; the two solutions are compared, so that a wrong
// one cannot pass as fast.
void SubstitutionPaired(benchmark::State& state, const BandCase* c, const Lapack& l) {
  if (l.threads != nullptr)
    l.threads(1);
  zel::SetNumThreads(1);
  Substitution s(c, l, static_cast<unsigned>(state.range(0)));
  if (s.n == 0) {
    state.SkipWithError((l.name + " LAPACK without a working dpbtrf/dpbtrs").c_str());
    return;
  }
  std::vector<double> zb, pb;
  Paired(
      state,
      [&] {
        zb = s.b0;
        return CpuOf([&] { s.Zel(zb); });
      },
      [&] {
        pb = s.b0;
        return CpuOf([&] { s.Peer(l, pb); });
      });
  double worst = 0, largest = 0;
  for (std::size_t k = 0; k < zb.size(); ++k) {
    worst = std::max(worst, std::abs(zb[k] - pb[k]));
    largest = std::max(largest, std::abs(pb[k]));
  }
  if (s.info != 0 || !(worst <= 1e-6 * largest))
    state.SkipWithError("the two substitutions disagree");
}

// Wall time on `threads` threads (argument 1) of the library or the peer.
void SubstitutionTimed(benchmark::State& state, const BandCase* c, const Lapack& l, bool peer) {
  UseThreads(state, 1, l.threads);
  Substitution s(c, l, static_cast<unsigned>(state.range(0)));
  if (s.n == 0) {
    state.SkipWithError((l.name + " LAPACK without a working dpbtrf/dpbtrs").c_str());
    return;
  }
  std::vector<double> b;
  for (auto _ : state) {
    b = s.b0;
    Timed(state, [&] { peer ? s.Peer(l, b) : s.Zel(b); });
  }
}

// CHOLMOD, loaded at run time when the system has it. The symbolic analysis
// (the ordering, and the elimination tree) is made once outside the timed
// region; each timed call is the numeric factorisation and one solution.
#ifdef ZEL_BENCH_CHOLMOD
struct Cholmod {
  int (*start)(cholmod_common*) = nullptr;
  int (*finish)(cholmod_common*) = nullptr;
  cholmod_triplet* (*allocateTriplet)(size_t, size_t, size_t, int, int, cholmod_common*) = nullptr;
  cholmod_sparse* (*tripletToSparse)(cholmod_triplet*, size_t, cholmod_common*) = nullptr;
  cholmod_factor* (*analyze)(cholmod_sparse*, cholmod_common*) = nullptr;
  int (*factorize)(cholmod_sparse*, cholmod_factor*, cholmod_common*) = nullptr;
  cholmod_dense* (*solve)(int, cholmod_factor*, cholmod_dense*, cholmod_common*) = nullptr;
  cholmod_dense* (*ones)(size_t, size_t, int, cholmod_common*) = nullptr;
  int (*freeTriplet)(cholmod_triplet**, cholmod_common*) = nullptr;
  int (*freeSparse)(cholmod_sparse**, cholmod_common*) = nullptr;
  int (*freeFactor)(cholmod_factor**, cholmod_common*) = nullptr;
  int (*freeDense)(cholmod_dense**, cholmod_common*) = nullptr;
  void (*threads)(int) = nullptr; // of the BLAS that CHOLMOD is bound to, when it is OpenBLAS
  explicit operator bool() const { return start != nullptr && factorize != nullptr && solve != nullptr; }
};

const Cholmod& TheCholmod() {
  static const Cholmod c = [] {
    Cholmod k;
    void* h = Open("libcholmod.so.3");
    if (h == nullptr)
      return k;
    auto sym = [&](auto& f, const char* name) { f = reinterpret_cast<std::decay_t<decltype(f)>>(dlsym(h, name)); };
    sym(k.start, "cholmod_start");
    sym(k.finish, "cholmod_finish");
    sym(k.allocateTriplet, "cholmod_allocate_triplet");
    sym(k.tripletToSparse, "cholmod_triplet_to_sparse");
    sym(k.analyze, "cholmod_analyze");
    sym(k.factorize, "cholmod_factorize");
    sym(k.solve, "cholmod_solve");
    sym(k.ones, "cholmod_ones");
    sym(k.freeTriplet, "cholmod_free_triplet");
    sym(k.freeSparse, "cholmod_free_sparse");
    sym(k.freeFactor, "cholmod_free_factor");
    sym(k.freeDense, "cholmod_free_dense");
    sym(k.threads, "openblas_set_num_threads");
    return k;
  }();
  return c;
}

void BandCholmod(benchmark::State& state, const BandCase* c, bool natural) {
  const Cholmod& k = TheCholmod();
  if (!k) {
    state.SkipWithError("CHOLMOD not found");
    return;
  }
  UseThreads(state, 0, k.threads);
  cholmod_common cc;
  k.start(&cc);
  if (natural) {
    cc.nmethods = 1;
    cc.method[0].ordering = CHOLMOD_NATURAL;
    cc.postorder = 0;
  }
  const SymmetricSystem& s = c->system;
  cholmod_triplet* t = k.allocateTriplet(s.n, s.n, s.value.size(), -1, CHOLMOD_REAL, &cc);
  for (std::size_t e = 0; e < s.value.size(); ++e) {
    static_cast<int*>(t->i)[e] = static_cast<int>(s.rowOf[e]);
    static_cast<int*>(t->j)[e] = static_cast<int>(s.colOf[e]);
    static_cast<double*>(t->x)[e] = s.value[e];
  }
  t->nnz = s.value.size();
  cholmod_sparse* a = k.tripletToSparse(t, 0, &cc);
  cholmod_dense* b = k.ones(s.n, 1, CHOLMOD_REAL, &cc);
  for (auto _ : state) {
    cholmod_factor* f = k.analyze(a, &cc);
    cholmod_dense* x = nullptr;
    Timed(state, [&] {
      k.factorize(a, f, &cc);
      x = k.solve(CHOLMOD_A, f, b, &cc);
    });
    if (cc.status != CHOLMOD_OK)
      state.SkipWithError("CHOLMOD failed");
    k.freeDense(&x, &cc);
    k.freeFactor(&f, &cc);
  }
  state.counters["factor_nnz"] = cc.lnz;
  k.freeDense(&b, &cc);
  k.freeSparse(&a, &cc);
  k.freeTriplet(&t, &cc);
  k.finish(&cc);
}
#else
void BandCholmod(benchmark::State& state, const BandCase*, bool) { state.SkipWithError("built without CHOLMOD's header"); }
#endif

// A plain textbook active-column LDLᵀ (column heights from the first
// non-zero of each column of the upper triangle), with dot products.
struct Skyline {
  std::vector<std::size_t> top;  // first row of column j
  std::vector<std::size_t> base; // index of a(top_j, j); a(i, j) at base_j + i − top_j
  std::vector<double> a;
};

Skyline ToSkyline(const SymmetricSystem& s) {
  Skyline k;
  k.top.resize(s.n);
  for (unsigned j = 0; j < s.n; ++j)
    k.top[j] = j;
  for (std::size_t e = 0; e < s.value.size(); ++e)
    k.top[s.rowOf[e]] = std::min<std::size_t>(k.top[s.rowOf[e]], s.colOf[e]);
  k.base.resize(s.n + 1);
  k.base[0] = 0;
  for (unsigned j = 0; j < s.n; ++j)
    k.base[j + 1] = k.base[j] + (j - k.top[j] + 1);
  k.a.assign(k.base[s.n], 0.0);
  for (std::size_t e = 0; e < s.value.size(); ++e) {
    const unsigned j = s.rowOf[e], i = s.colOf[e];
    k.a[k.base[j] + i - k.top[j]] = s.value[e];
  }
  return k;
}

void SkylineSolve(std::size_t n, Skyline& k, double* b) {
  auto at = [&](std::size_t i, std::size_t j) -> double& { return k.a[k.base[j] + i - k.top[j]]; };
  for (std::size_t j = 0; j < n; ++j) {
    const std::size_t tj = k.top[j];
    for (std::size_t i = tj; i < j; ++i) {
      const std::size_t from = std::max(tj, k.top[i]);
      double s = at(i, j);
      for (std::size_t m = from; m < i; ++m)
        s -= at(m, i) * at(m, j);
      at(i, j) = s;
    }
    double d = at(j, j);
    for (std::size_t i = tj; i < j; ++i) {
      const double g = at(i, j);
      const double l = g / at(i, i);
      d -= l * g;
      at(i, j) = l;
    }
    at(j, j) = d;
  }
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = k.top[j]; i < j; ++i)
      b[j] -= at(i, j) * b[i];
  for (std::size_t j = 0; j < n; ++j)
    b[j] /= at(j, j);
  for (std::size_t j = n; j-- > 0;)
    for (std::size_t i = k.top[j]; i < j; ++i)
      b[i] -= at(i, j) * b[j];
}

void BandSkyline(benchmark::State& state, const BandCase* c) {
  const Skyline k0 = ToSkyline(c->system);
  Skyline k;
  std::vector<double> b(c->system.n);
  for (auto _ : state) {
    k = k0;
    std::fill(b.begin(), b.end(), 1.0);
    Timed(state, [&] { SkylineSolve(c->system.n, k, b.data()); });
  }
  Rate(state, c->band.flops);
}

// ---------------------------------------------------------------------------
// The processor's rate for separate multiplications and subtractions: eight
// independent chains of each, started from different values (equal chains
// would be merged by the compiler), so that only throughput counts.

#if defined(__x86_64__)
#define ZEL_PEAK_STEP(k)                                                                                             \
  m##k = _mm512_mul_pd(m##k, f);                                                                                     \
  s##k = _mm512_sub_pd(s##k, g);

__attribute__((target("avx512f"), noinline)) double PeakAvx512(long rounds) {
  const __m512d f = _mm512_set1_pd(1.0000001), g = _mm512_set1_pd(1e-9);
  __m512d m0 = _mm512_set1_pd(1), m1 = _mm512_set1_pd(2), m2 = _mm512_set1_pd(3), m3 = _mm512_set1_pd(4);
  __m512d m4 = _mm512_set1_pd(5), m5 = _mm512_set1_pd(6), m6 = _mm512_set1_pd(7), m7 = _mm512_set1_pd(8);
  __m512d s0 = _mm512_set1_pd(11), s1 = _mm512_set1_pd(12), s2 = _mm512_set1_pd(13), s3 = _mm512_set1_pd(14);
  __m512d s4 = _mm512_set1_pd(15), s5 = _mm512_set1_pd(16), s6 = _mm512_set1_pd(17), s7 = _mm512_set1_pd(18);
  for (long r = 0; r < rounds; ++r) {
    ZEL_PEAK_STEP(0) ZEL_PEAK_STEP(1) ZEL_PEAK_STEP(2) ZEL_PEAK_STEP(3)
    ZEL_PEAK_STEP(4) ZEL_PEAK_STEP(5) ZEL_PEAK_STEP(6) ZEL_PEAK_STEP(7)
  }
  const __m512d t = _mm512_add_pd(_mm512_add_pd(_mm512_add_pd(m0, m1), _mm512_add_pd(m2, m3)),
                                  _mm512_add_pd(_mm512_add_pd(m4, m5), _mm512_add_pd(m6, m7)));
  const __m512d u = _mm512_add_pd(_mm512_add_pd(_mm512_add_pd(s0, s1), _mm512_add_pd(s2, s3)),
                                  _mm512_add_pd(_mm512_add_pd(s4, s5), _mm512_add_pd(s6, s7)));
  double out[8];
  _mm512_storeu_pd(out, _mm512_add_pd(t, u));
  return out[0];
}
#undef ZEL_PEAK_STEP

void NoFmaPeak(benchmark::State& state) {
  if (!__builtin_cpu_supports("avx512f")) {
    state.SkipWithError("no AVX-512");
    return;
  }
  long rounds = Smoke() ? 1000 : 20'000'000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(rounds);
    Timed(state, [&] { benchmark::DoNotOptimize(PeakAvx512(rounds)); });
  }
  // Per round: 8 multiplications and 8 subtractions of 8 lanes.
  Rate(state, double(rounds) * 8 * 2 * 8);
}
#endif

// ---------------------------------------------------------------------------
// The pool's hand-over: steps of two tasks of about 10 µs each, with
// `gap` µs of work on the caller alone between steps (a panel factorised
// between two updates). Per step, two threads take 10 µs plus the
// hand-over, one thread 20 µs; threads:1 is the peer in the same run.

// A dependent chain of multiplications, calibrated once: reading the clock
// costs microseconds on some virtual machines.
double BusyWorkRounds(double rounds) {
  double x = 1.0;
  for (long k = 0, m = long(rounds); k < m; ++k)
    x = x * 0.9999999 + 1e-9;
  return x;
}

void BusyWork(double microseconds) {
  static const double perMicrosecond = [] {
    const double t0 = WallSeconds();
    benchmark::DoNotOptimize(BusyWorkRounds(2e7));
    return 2e7 / ((WallSeconds() - t0) * 1e6);
  }();
  benchmark::DoNotOptimize(BusyWorkRounds(microseconds * perMicrosecond));
}

void HandOver(benchmark::State& state) {
  const int threads = UseThreads(state, 1);
  const double gap = double(state.range(0));
  const int steps = Smoke() ? 20 : 2000;
  benchmark::Counter& step = state.counters["step_us"];
  step.flags = benchmark::Counter::kAvgIterations;
  for (auto _ : state) {
    const double t0 = WallSeconds();
    for (int s = 0; s < steps; ++s) {
      BusyWork(gap);
      zel::numerics::ParallelFor(2, std::size_t(threads), [](std::size_t, std::size_t) { BusyWork(10); });
    }
    state.SetIterationTime(WallSeconds() - t0);
    step.value += 1e6 * (WallSeconds() - t0) / steps;
  }
}

void RegisterAll() {
  const bool smoke = Smoke();
#if defined(__x86_64__)
  benchmark::RegisterBenchmark("NoFmaPeak/avx512", NoFmaPeak)->UseManualTime()->Unit(benchmark::kMillisecond);
#endif
  for (int gap : {0, 50, 200})
    for (int threads : {1, 2}) {
      auto* b = benchmark::RegisterBenchmark("HandOver", HandOver)
                    ->Args({gap, threads})->ArgNames({"gap_us", "threads"})->UseManualTime()
                    ->Unit(benchmark::kMillisecond)->Repetitions(smoke ? 1 : 3);
      if (smoke)
        b->Iterations(1);
    }
  const std::vector<int> denseSizes = smoke ? std::vector<int>{60, 130} : std::vector<int>{500, 1000, 2000};
  const int reps = smoke ? 1 : 3;
  auto timed = [&](benchmark::internal::Benchmark* b) {
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Repetitions(reps)->ReportAggregatesOnly(!smoke);
  };
  auto paired = [&](benchmark::internal::Benchmark* b, double flops) {
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(PairsFor(flops));
  };
  for (int n : denseSizes)
    paired(benchmark::RegisterBenchmark("Paired/Gauss/dgesv_openblas", DensePaired, OpenBlas())->Arg(n)->ArgName("n"),
           2.0 * n * double(n) * n / 3.0);
  for (int n : denseSizes)
    for (int threads : {1, 2}) {
      timed(benchmark::RegisterBenchmark("Gauss/zel", DenseZel)->Args({n, threads})->ArgNames({"n", "threads"}));
      timed(benchmark::RegisterBenchmark("Gauss/dgesv_openblas", DenseLapack, OpenBlas())
                ->Args({n, threads})->ArgNames({"n", "threads"}));
      if (threads == 1)
        timed(benchmark::RegisterBenchmark("Gauss/dgesv_reference", DenseLapack, Reference())
                  ->Args({n, threads})->ArgNames({"n", "threads"}));
    }

  auto& cases = Cases();
  if (smoke) {
    cases.push_back(std::make_unique<BandCase>(BandCase{GridSystem(12, 12, 1, 2), {}}));
    cases.push_back(std::make_unique<BandCase>(BandCase{GridSystem(5, 5, 5, 3), {}}));
  } else {
    cases.push_back(std::make_unique<BandCase>(BandCase{GridSystem(100, 100, 1, 2), {}}));
    cases.push_back(std::make_unique<BandCase>(BandCase{GridSystem(200, 200, 1, 2), {}}));
    cases.push_back(std::make_unique<BandCase>(BandCase{GridSystem(20, 20, 20, 3), {}}));
  }
  const std::string folder = DataFolder() + "/matrices/";
  const std::vector<std::string> real =
      smoke ? std::vector<std::string>{"bcsstk05.mtx.gz"}
            : std::vector<std::string>{"bcsstk14.mtx.gz", "bcsstk13.mtx.gz", "s3rmt3m3.mtx.gz", "bcsstk18.mtx.gz"};
  for (const std::string& file : real) {
    SymmetricSystem s;
    if (!ReadMatrixMarket(folder + file, s)) {
      std::fprintf(stderr, "%s not readable; skipped\n", (folder + file).c_str());
      continue;
    }
    SymmetricSystem r = Renumbered(s);
    cases.push_back(std::make_unique<BandCase>(BandCase{std::move(s), {}}));
    cases.push_back(std::make_unique<BandCase>(BandCase{std::move(r), {}}));
  }
  for (auto& c : cases) {
    c->band = ToBand(c->system);
    const std::string tag = c->system.name + "/n=" + std::to_string(c->system.n) +
                            "/kd=" + std::to_string(c->band.halfBand);
    // The reference band factorisation runs at a few GFLOP/s: skip it where
    // one call would take minutes.
    const double bandFlops = double(c->system.n) * c->band.halfBand * c->band.halfBand;
    paired(benchmark::RegisterBenchmark(("Paired/GaussTape/dpbsv_openblas/" + tag).c_str(), BandPaired, c.get(),
                                        OpenBlas()),
           c->band.flops);
    for (int m : {1, 8})
      paired(benchmark::RegisterBenchmark(("Paired/GaussTapeBack/dpbtrs_openblas/" + tag).c_str(),
                                          SubstitutionPaired, c.get(), OpenBlas())
                 ->Arg(m)->ArgName("m"),
             4.0 * double(c->band.values.size()) * m);
    for (int m : {8, 16})
      for (int threads : {1, 2})
        for (bool peer : {false, true})
          timed(benchmark::RegisterBenchmark(
                    ("GaussTapeBack/" + std::string(peer ? "dpbtrs_openblas/" : "zel/") + tag).c_str(),
                    SubstitutionTimed, c.get(), OpenBlas(), peer)
                    ->Args({m, threads})->ArgNames({"m", "threads"}));
    for (int threads : {1, 2}) {
      auto named = [&](const char* solver) { return "GaussTape/" + std::string(solver) + "/" + tag; };
      timed(benchmark::RegisterBenchmark(named("zel").c_str(), BandZel, c.get())->Arg(threads)->ArgName("threads"));
      timed(benchmark::RegisterBenchmark(named("dpbsv_openblas").c_str(), BandLapack, c.get(), OpenBlas())
                ->Arg(threads)->ArgName("threads"));
      timed(benchmark::RegisterBenchmark(named("cholmod_natural").c_str(), BandCholmod, c.get(), true)
                ->Arg(threads)->ArgName("threads"));
      timed(benchmark::RegisterBenchmark(named("cholmod_default").c_str(), BandCholmod, c.get(), false)
                ->Arg(threads)->ArgName("threads"));
      if (threads > 1)
        continue;
      timed(benchmark::RegisterBenchmark(named("profile_ldlt").c_str(), BandSkyline, c.get()));
      if (bandFlops < 1.5e11)
        timed(benchmark::RegisterBenchmark(named("dpbsv_reference").c_str(), BandLapack, c.get(), Reference())
                  ->Arg(1)->ArgName("threads"));
    }
  }
}

} // namespace

int main(int argc, char** argv) {
  // ZEL_BENCH_LEVEL=0…3 runs the library's kernels of that level (plain,
  // generic, AVX2, AVX-512) instead of the best the processor has.
  if (const char* level = std::getenv("ZEL_BENCH_LEVEL"))
    zel::numerics::ForceSimdLevel(static_cast<zel::numerics::SimdLevel>(std::clamp(std::atoi(level), 0, 3)));
  benchmark::Initialize(&argc, argv);
  RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
