#include "zeltools/numerics/renumber.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "zeltools/errors/exception.h"
#include "zeltools/numerics/internal/out_of_memory.h"

namespace zel {
namespace {

// The graph with both directions of every connection, sorted, without
// self-references or repetitions.
struct Graph {
  std::vector<std::size_t> start;
  std::vector<unsigned int> next;

  std::size_t Degree(unsigned int v) const { return start[v + 1] - start[v]; }
};

void CheckNeighbours(unsigned int n, const unsigned int* start, const unsigned int* adjacent) {
  for (unsigned int v = 0; v < n; ++v) {
    if (start[v + 1] < start[v])
      CrashFormat("Graph row %u ends before it starts", v + 1);
    for (unsigned int k = start[v]; k < start[v + 1]; ++k)
      if (adjacent[k] >= n)
        CrashFormat("Graph vertex %u has neighbour %u of only %u vertices", v + 1, adjacent[k] + 1, n);
  }
}

Graph Symmetric(unsigned int n, const unsigned int* start, const unsigned int* adjacent) {
  std::vector<std::size_t> count(n + 1, 0);
  for (unsigned int v = 0; v < n; ++v)
    for (unsigned int k = start[v]; k < start[v + 1]; ++k)
      if (adjacent[k] != v) {
        ++count[v];
        ++count[adjacent[k]];
      }
  Graph g;
  g.start.assign(n + 1, 0);
  for (unsigned int v = 0; v < n; ++v)
    g.start[v + 1] = g.start[v] + count[v];
  g.next.resize(g.start[n]);
  std::vector<std::size_t> fill(g.start.begin(), g.start.end() - 1);
  for (unsigned int v = 0; v < n; ++v)
    for (unsigned int k = start[v]; k < start[v + 1]; ++k)
      if (adjacent[k] != v) {
        g.next[fill[v]++] = adjacent[k];
        g.next[fill[adjacent[k]]++] = v;
      }
  // Sort and drop repetitions, compacting the rows in place.
  std::size_t out = 0;
  for (unsigned int v = 0; v < n; ++v) {
    const auto first = g.next.begin() + static_cast<std::ptrdiff_t>(g.start[v]);
    const auto last = g.next.begin() + static_cast<std::ptrdiff_t>(g.start[v + 1]);
    std::sort(first, last);
    const auto unique = std::unique(first, last);
    const std::size_t kept = static_cast<std::size_t>(unique - first);
    std::copy(first, unique, g.next.begin() + static_cast<std::ptrdiff_t>(out));
    g.start[v] = out;
    out += kept;
  }
  g.start[n] = out;
  g.next.resize(out);
  return g;
}

// Breadth-first level structure from `root`; fills `levelOf` for the
// vertices reached (others keep the value `unreached`) and returns them in
// visiting order. Neighbours are visited by increasing degree, then number.
std::vector<unsigned int> Sweep(const Graph& g, unsigned int root, std::vector<unsigned int>& levelOf,
                                unsigned int unreached) {
  std::vector<unsigned int> visit{root};
  levelOf[root] = 0;
  std::vector<unsigned int> fresh;
  for (std::size_t head = 0; head < visit.size(); ++head) {
    const unsigned int v = visit[head];
    fresh.clear();
    for (std::size_t k = g.start[v]; k < g.start[v + 1]; ++k)
      if (levelOf[g.next[k]] == unreached) {
        levelOf[g.next[k]] = levelOf[v] + 1;
        fresh.push_back(g.next[k]);
      }
    std::sort(fresh.begin(), fresh.end(), [&](unsigned int a, unsigned int b) {
      return g.Degree(a) != g.Degree(b) ? g.Degree(a) < g.Degree(b) : a < b;
    });
    visit.insert(visit.end(), fresh.begin(), fresh.end());
  }
  return visit;
}

// Two vertices far apart in their part: sweep, restart from the vertex of
// least degree on the last level, stop when the depth grows no more. The
// root comes first, the far end of its last sweep second.
std::pair<unsigned int, unsigned int> PseudoPeripheral(const Graph& g, unsigned int seed,
                                                       std::vector<unsigned int>& scratch, unsigned int unreached) {
  unsigned int root = seed, far = seed;
  unsigned int depth = 0;
  for (int round = 0; round < 32; ++round) {
    const std::vector<unsigned int> visit = Sweep(g, root, scratch, unreached);
    const unsigned int lastLevel = scratch[visit.back()];
    unsigned int candidate = visit.back();
    for (unsigned int v : visit)
      if (scratch[v] == lastLevel && g.Degree(v) < g.Degree(candidate))
        candidate = v;
    for (unsigned int v : visit)
      scratch[v] = unreached;
    if (round > 0 && lastLevel <= depth) {
      far = candidate;
      break;
    }
    depth = lastLevel;
    far = root;
    root = candidate;
  }
  return {root, far};
}

// Cuthill–McKee order, each part swept from one end of its pseudo-diameter
// (`fromFar` picks the other end).
std::vector<unsigned int> CuthillMcKee(const Graph& g, unsigned int n, bool fromFar) {
  const unsigned int unreached = ~0u;
  std::vector<unsigned int> levelOf(n, unreached), scratch(n, unreached);
  std::vector<unsigned int> byDegree(n);
  std::iota(byDegree.begin(), byDegree.end(), 0u);
  std::stable_sort(byDegree.begin(), byDegree.end(),
                   [&](unsigned int a, unsigned int b) { return g.Degree(a) < g.Degree(b); });
  std::vector<unsigned int> order;
  order.reserve(n);
  for (unsigned int seed : byDegree) {
    if (levelOf[seed] != unreached)
      continue;
    const auto ends = PseudoPeripheral(g, seed, scratch, unreached);
    const unsigned int root = fromFar ? ends.second : ends.first;
    const std::vector<unsigned int> part = Sweep(g, root, levelOf, unreached);
    order.insert(order.end(), part.begin(), part.end());
  }
  return order;
}

struct Cost {
  unsigned long long profile = 0, work = 0;
  bool operator<(const Cost& other) const {
    return work != other.work ? work < other.work : profile < other.profile;
  }
};

Cost Measure(unsigned int n, const unsigned int* start, const unsigned int* adjacent, const unsigned int* position) {
  // reach[i]: the farthest column of row i of the renumbered matrix.
  std::vector<unsigned int> reach(n);
  for (unsigned int i = 0; i < n; ++i)
    reach[i] = i;
  for (unsigned int v = 0; v < n; ++v) {
    const unsigned int pv = position ? position[v] : v;
    for (unsigned int k = start[v]; k < start[v + 1]; ++k) {
      const unsigned int pw = position ? position[adjacent[k]] : adjacent[k];
      const unsigned int lo = std::min(pv, pw), hi = std::max(pv, pw);
      reach[lo] = std::max(reach[lo], hi);
    }
  }
  Cost cost;
  unsigned int farthest = 0;
  for (unsigned int i = 0; i < n; ++i) {
    farthest = std::max(farthest, reach[i]);
    const unsigned long long count = farthest - i + 1;
    cost.profile += count;
    cost.work += count * (count - 1) / 2;
  }
  return cost;
}

void CheckPosition(unsigned int n, const unsigned int* position) {
  if (position != nullptr)
    for (unsigned int v = 0; v < n; ++v)
      if (position[v] >= n)
        CrashFormat("Vertex %u is given number %u of only %u", v + 1, position[v] + 1, n);
}

} // namespace

namespace {

// What the graph's working copies take, for the message when they cannot
// be had: both directions of every edge and a few vectors of n.
std::size_t WorkingBytes(unsigned int n, const unsigned int* start) {
  return (2 * std::size_t{start[n]} + 8 * std::size_t{n}) * sizeof(unsigned int);
}

SRenumber Renumbered(unsigned int n, const unsigned int* start, const unsigned int* adjacent);

} // namespace

unsigned long long BandProfile(unsigned int n, const unsigned int* start, const unsigned int* adjacent,
                               const unsigned int* position) {
  CheckNeighbours(n, start, adjacent);
  CheckPosition(n, position);
  return numerics::WithoutForeignExceptions(WorkingBytes(n, start),
                                            [&] { return Measure(n, start, adjacent, position).profile; });
}

unsigned long long BandWork(unsigned int n, const unsigned int* start, const unsigned int* adjacent,
                            const unsigned int* position) {
  CheckNeighbours(n, start, adjacent);
  CheckPosition(n, position);
  return numerics::WithoutForeignExceptions(WorkingBytes(n, start),
                                            [&] { return Measure(n, start, adjacent, position).work; });
}

SRenumber RenumberBand(unsigned int n, const unsigned int* start, const unsigned int* adjacent) {
  CheckNeighbours(n, start, adjacent);
  return numerics::WithoutForeignExceptions(WorkingBytes(n, start), [&] { return Renumbered(n, start, adjacent); });
}

namespace {

SRenumber Renumbered(unsigned int n, const unsigned int* start, const unsigned int* adjacent) {
  const Cost given = Measure(n, start, adjacent, nullptr);
  const Graph g = Symmetric(n, start, adjacent);
  // The profile of this solver is the same for a numbering and its reverse;
  // what matters is where the sweep starts, so both ends are tried.
  std::vector<unsigned int> best(n);
  std::iota(best.begin(), best.end(), 0u);
  Cost chosen = given;
  for (bool fromFar : {false, true}) {
    const std::vector<unsigned int> sweep = CuthillMcKee(g, n, fromFar);
    std::vector<unsigned int> position(n);
    for (unsigned int k = 0; k < n; ++k)
      position[sweep[k]] = n - 1 - k;
    const Cost cost = Measure(n, start, adjacent, position.data());
    if (cost < chosen) {
      chosen = cost;
      best.swap(position);
    }
  }
  SRenumber result;
  result.profileBefore = given.profile;
  result.workBefore = given.work;
  result.profileAfter = chosen.profile;
  result.workAfter = chosen.work;
  result.position.assign(best.begin(), best.end());
  result.order.assign(n, 0);
  for (unsigned int v = 0; v < n; ++v)
    result.order[result.position[v]] = v;
  return result;
}

} // namespace

} // namespace zel
