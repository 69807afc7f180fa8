#include "solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>
#include <unistd.h>
#include <vector>

#include <zeltools/errors/exception.h>
#include <zeltools/numerics/band.h>
#include <zeltools/numerics/dense.h>
#include <zeltools/numerics/renumber.h>

#include "band_system.h"
#include "matrix_market.h"
#include "progress.h"

namespace zeltool {
namespace {

// Wall-clock time is what a user waits; the processor time of the whole
// process is what the work cost on a shared machine (and counts every thread
// the solver may use).
struct Stopwatch {
  std::chrono::steady_clock::time_point wall = std::chrono::steady_clock::now();
  double cpu = ProcessSeconds();

  static double ProcessSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
  }
  std::string Report() const {
    const double w = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall).count();
    const double c = ProcessSeconds() - cpu;
    char text[80];
    std::snprintf(text, sizeof text, "%.3g ms (processor %.3g ms)", w * 1e3, c * 1e3);
    return text;
  }
};

// Refuses storage that the machine could not hold, before it is touched:
// the alternative is the kernel ending the process.
void CheckMemory(const std::string& file, double values, const char* what) {
  const double bytes = values * sizeof(double);
  const double physical = double(sysconf(_SC_PHYS_PAGES)) * double(sysconf(_SC_PAGESIZE));
  if (physical > 0 && bytes > physical) {
    char text[160];
    std::snprintf(text, sizeof text, "%s needs %.3g GB, more than the machine's %.3g GB of memory", what,
                  bytes / 1e9, physical / 1e9);
    throw InputError(file, 0, text);
  }
}

// A pattern has no values: take the matrix of its graph that is positive
// definite by diagonal dominance (-1 off the diagonal, degree + 1 on it).
void GiveGraphValues(SymmetricMatrix& m) {
  std::vector<double> degree(m.n, 1.0);
  std::vector<bool> hasDiagonal(m.n, false);
  for (Entry& e : m.lower) {
    if (e.row == e.col) {
      hasDiagonal[e.row] = true;
      continue;
    }
    e.value = -1.0;
    degree[e.row] += 1;
    degree[e.col] += 1;
  }
  for (unsigned i = 0; i < m.n; ++i)
    if (!hasDiagonal[i])
      m.lower.push_back({i, i, 0.0});
  for (Entry& e : m.lower)
    if (e.row == e.col)
      e.value = degree[e.row];
}

// y = A·x for the symmetric matrix given by its lower triangle.
void Multiply(const SymmetricMatrix& m, const double* x, double* y) {
  std::fill(y, y + m.n, 0.0);
  for (const Entry& e : m.lower) {
    y[e.row] += e.value * x[e.col];
    if (e.row != e.col)
      y[e.col] += e.value * x[e.row];
  }
}

double NormInf(const double* v, std::size_t n) {
  double r = 0;
  for (std::size_t i = 0; i < n; ++i)
    r = std::max(r, std::fabs(v[i]));
  return r;
}

std::string Count(unsigned long long v) {
  std::string s = std::to_string(v);
  for (int i = static_cast<int>(s.size()) - 3; i > 0; i -= 3)
    s.insert(static_cast<std::size_t>(i), ",");
  return s;
}

// The report is printed when the work is over, so that it never mixes with
// the progress bar on a terminal.
class Report {
public:
  void Line(const char* label, const std::string& text) {
    char head[16];
    std::snprintf(head, sizeof head, "%-11s ", label);
    text_ += head + text + "\n";
  }
  const std::string& Text() const { return text_; }

private:
  std::string text_;
};

[[noreturn]] void Singular(const std::string& file, long long unknown, const char* solver, const char* text) {
  const std::string where = unknown >= 0 ? " at unknown " + std::to_string(unknown + 1) + " of the file's numbering" : "";
  throw InputError(file, 0, std::string("the matrix is singular: zero pivot") + where + " (" + solver + ": " + text + ")");
}

std::string Solve(const Command& command, Progress& progress) {
  const std::string& file = command.matrix;
  const bool band = !command.dense;
  const bool renumber = band && command.renumber;
  Report report;
  auto Line = [&report](const char* label, const std::string& text) { report.Line(label, text); };

  progress.Phase("read");
  SymmetricMatrix m = ReadSymmetricMatrix(ReadFileBytes(file), file);
  const unsigned n = m.n;
  std::size_t stored = m.lower.size();
  // Every stored entry touches at most two rows; fewer entries than that
  // leave a row empty, and the n-sized work below would be spent on a
  // singular matrix that the header made as large as it liked.
  if (n > 2 * static_cast<unsigned long long>(stored))
    throw InputError(file, 0, "the matrix is singular: " + Count(stored) + " stored entries leave some of the " +
                                  Count(n) + " rows empty");
  if (m.field == Field::Pattern)
    GiveGraphValues(m);
  // The counts are those of the matrix solved, a pattern's diagonal included.
  stored = m.lower.size();
  std::size_t diagonal = 0;
  for (const Entry& e : m.lower)
    diagonal += e.row == e.col;

  unsigned columns = 1;
  std::vector<double> b, known;
  if (!command.rhs.empty()) {
    DenseColumns d = ReadDenseColumns(ReadFileBytes(command.rhs), command.rhs);
    if (d.rows != n)
      throw InputError(command.rhs, 0, "the right-hand side has " + Count(d.rows) + " rows, the matrix " + Count(n));
    columns = d.columns;
    b = std::move(d.values);
  } else {
    known.assign(n, 1.0);
    b.resize(n);
    Multiply(m, known.data(), b.data());
  }

  const char* fieldName = m.field == Field::Pattern ? "pattern" : m.field == Field::Integer ? "integer" : "real";
  Line("matrix", file + ": coordinate " + fieldName + " symmetric");
  Line("n", Count(n));
  Line("non-zeros", Count(2 * stored - diagonal) + " (" + Count(stored) + " stored: the lower triangle)");
  if (m.field == Field::Pattern)
    Line("values", "-1 off the diagonal, neighbours + 1 on it (the file is a pattern)");
  Line("right side", command.rhs.empty() ? std::string("A*x for x = 1")
                                         : command.rhs + " (" + std::to_string(columns) + " column" +
                                               (columns == 1 ? ")" : "s)"));

  // The graph in compressed rows, each connection listed once.
  std::vector<unsigned> start(std::size_t(n) + 1, 0), adjacent;
  for (const Entry& e : m.lower)
    if (e.row != e.col)
      ++start[e.col + 1];
  for (unsigned i = 0; i < n; ++i)
    start[i + 1] += start[i];
  adjacent.resize(start[n]);
  {
    std::vector<unsigned> fill(start.begin(), start.end() - 1);
    for (const Entry& e : m.lower)
      if (e.row != e.col)
        adjacent[fill[e.col]++] = e.row;
  }

  std::vector<double> x = b;
  if (band) {
    progress.Phase("renumber");
    std::vector<unsigned> position(n);
    for (unsigned i = 0; i < n; ++i)
      position[i] = i;
    unsigned long long profile = 0;
    if (renumber) {
      const zel::SRenumber r = zel::RenumberBand(n, start.data(), adjacent.data());
      for (unsigned i = 0; i < n; ++i)
        position[i] = r.position[i];
      profile = r.profileAfter;
      Line("profile", Count(r.profileBefore) + " given, " + Count(r.profileAfter) + " renumbered (RenumberBand)" +
                          (r.profileAfter == r.profileBefore && r.workAfter == r.workBefore
                               ? "; the given numbering is kept"
                               : ""));
    } else {
      profile = zel::BandProfile(n, start.data(), adjacent.data());
      Line("profile", Count(profile) + " given (not renumbered)");
    }

    progress.Phase("assemble");
    CheckMemory(file, double(profile), "the band");
    BandSystem system = AssembleBand(m, position);
    std::vector<zel::GAUSS_TAPE>& rows = system.rows;
    for (unsigned k = 0; k < columns; ++k)
      for (unsigned i = 0; i < n; ++i)
        x[std::size_t(k) * n + position[i]] = b[std::size_t(k) * n + i];

    progress.Phase("factor");
    Stopwatch factor;
    try {
      zel::GaussTapeDirect(n, rows.data());
    } catch (const zel::Exception& e) {
      // The elimination stops at the first zero pivot and leaves the rows
      // above it factorised, so the first zero diagonal is where it stopped.
      for (unsigned i = 0; i < n; ++i)
        if (rows[i].values[0] == 0.0) {
          unsigned old = 0;
          while (position[old] != i)
            ++old;
          Singular(file, old, "GaussTapeDirect", e.GetDescription());
        }
      Singular(file, -1, "GaussTapeDirect", e.GetDescription());
    }
    Line("solver", "GaussTapeDirect + GaussTapeBack (variable band, LDL^T)");
    Line("factor", factor.Report());

    progress.Phase("solve");
    Stopwatch solve;
    zel::GaussTapeBack(n, rows.data(), columns, x.data());
    Line("solve", solve.Report());
    std::vector<double> solved(x.size());
    for (unsigned k = 0; k < columns; ++k)
      for (unsigned i = 0; i < n; ++i)
        solved[std::size_t(k) * n + i] = x[std::size_t(k) * n + position[i]];
    x.swap(solved);
  } else {
    progress.Phase("assemble");
    CheckMemory(file, double(n) * double(n), "the dense matrix");
    std::vector<double> a(std::size_t(n) * n, 0.0);
    for (const Entry& e : m.lower) {
      a[std::size_t(e.row) * n + e.col] = e.value;
      a[std::size_t(e.col) * n + e.row] = e.value;
    }
    progress.Phase("factor and solve");
    Stopwatch both;
    try {
      // Mode 0 with no tolerance: only an exactly zero pivot is singular,
      // as in the band solver.
      zel::Gauss(n, a.data(), columns, x.data(), 0, 0.0);
    } catch (const zel::Exception& e) {
      Singular(file, -1, "Gauss", e.GetDescription());
    }
    Line("solver", "Gauss (dense, partial pivoting)");
    Line("factor", both.Report() + ", the solve included");
  }

  progress.Phase("check");
  for (double v : x)
    if (!std::isfinite(v))
      throw InputError(file, 0, "the solution is not finite: the matrix is singular to working precision");
  double residual = 0;
  std::vector<double> ax(n);
  const double normA = [&] {
    std::vector<double> rowSum(n, 0.0);
    for (const Entry& e : m.lower) {
      rowSum[e.row] += std::fabs(e.value);
      if (e.row != e.col)
        rowSum[e.col] += std::fabs(e.value);
    }
    return NormInf(rowSum.data(), n);
  }();
  for (unsigned k = 0; k < columns; ++k) {
    const double* xk = x.data() + std::size_t(k) * n;
    const double* bk = b.data() + std::size_t(k) * n;
    Multiply(m, xk, ax.data());
    for (unsigned i = 0; i < n; ++i)
      ax[i] -= bk[i];
    const double scale = normA * NormInf(xk, n) + NormInf(bk, n);
    residual = std::max(residual, scale > 0 ? NormInf(ax.data(), n) / scale : 0.0);
  }
  char text[80];
  std::snprintf(text, sizeof text, "%.3g  |A*x - b|inf / (|A|inf*|x|inf + |b|inf)", residual);
  Line("residual", text);
  if (!known.empty()) {
    double error = 0;
    for (unsigned i = 0; i < n; ++i)
      error = std::max(error, std::fabs(x[i] - known[i]));
    std::snprintf(text, sizeof text, "%.3g  |x - 1|inf", error);
    Line("error", text);
  }
  return report.Text();
}

} // namespace

void RunSolve(const Command& command) {
  std::string report;
  {
    Progress progress(isatty(STDERR_FILENO) != 0, command.dense ? 4 : 6);
    report = Solve(command, progress);
  }
  std::fputs(report.c_str(), stdout);
}

} // namespace zeltool
