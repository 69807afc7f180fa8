#pragma once
/// \file
/// Direct solver for symmetric systems stored by rows as a variable band (a
/// profile): each row keeps its diagonal and the elements to the right of it
/// up to its last non-zero. The factorisation is the square-root-free
/// symmetric elimination A = Uᵀ·D·U, in place and without pivoting; zero
/// elements inside a row are skipped. One factorisation serves any number of
/// later right-hand sides.
///
/// Results are those of the row-by-row elimination to the last bit: each stored
/// element receives its updates as separate multiplications and subtractions
/// in increasing row order; the fast paths only block and vectorise across
/// independent elements.

#include <type_traits>

namespace zel {

/// One row of a band matrix. The record does not own the values.
struct GAUSS_TAPE {
  /// Number of stored values of the row, the diagonal included (at least 1).
  unsigned int count;
  /// values[0] is a(i, i); values[k] is a(i, i+k) for k = 1 … count−1.
  double* values;
};
static_assert(std::is_standard_layout_v<GAUSS_TAPE> && std::is_trivially_copyable_v<GAUSS_TAPE>,
              "GAUSS_TAPE is a plain record shared with callers' arrays");

/// Factorises the band matrix of order n in place. Afterwards values[0] of
/// row i holds the pivot d_i and values[k] holds u(i, i+k), the reduced
/// element divided by d_i; zero elements stay zero.
///
/// The rows must satisfy the envelope rule: row i updates rows i+k
/// (k < count_i) up to column i + count_i − 1, so row i+k must store at least
/// count_i − k values, and no row may reach past column n−1.
/// Rows that break the rule (or have a count of 0 or no values) are refused
/// with an `Exception` (code 2) before anything is changed.
///
/// A pivot that is exactly 0.0 when its row is reached throws
/// "Null diagonal"; the matrix is then factorised up to that row, exactly as
/// the row-by-row elimination leaves it. Negative or tiny pivots are not
/// reported: only non-zero pivots are needed.
///
/// Rows are eliminated in panels of 96 with working storage of about
/// 200·(widest row + 96) doubles for the time of the call; without it the
/// rows are eliminated one by one, and when not even a list of one row's
/// positions can be had, message 201 is thrown before anything changes.
/// The results are those of the row-by-row elimination in every case.
///
/// The rows below a panel are shared among up to `GetNumThreads()` threads
/// when their update holds at least 10^6 element updates (a half-band of
/// about 150 and more, with panels of 96 rows); the results do not depend on
/// the thread count.
void GaussTapeDirect(unsigned int n, GAUSS_TAPE* rows);

/// Solves for m right-hand sides (m vectors of n values, one after another)
/// with rows that `GaussTapeDirect` has factorised; the solutions replace b.
/// Components that are zero during the forward pass are neither used nor
/// divided. No pivot is tested. Rows with a count of 0 or reaching past
/// column n−1 are refused with an `Exception` (code 2). Right-hand sides
/// go together in groups of up to eight, each element of the factors read
/// once for the whole group (n·8 doubles of working storage per group for
/// the time of the call; without it, one after the other); the groups are
/// solved on up to `GetNumThreads()` threads when they hold at least 10^6
/// element updates together. Each right-hand side gets the bits it would
/// get alone. The backward pass of one right-hand side is a chain of
/// dependent subtractions, which sets the pace of a single one.
void GaussTapeBack(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b);

/// `GaussTapeDirect(n, rows)` followed by `GaussTapeBack(n, rows, m, b)`.
void GaussTape1(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b);

/// Factorisation and substitution in one call, with the results of
/// `GaussTape1`; m = 0 only factorises, n = 0 does nothing. A zero pivot
/// throws before any right-hand side is touched. The forward substitution
/// follows the factorisation panel by panel, while each panel's rows are
/// still in the cache, on a copy of the right-hand sides (n·m doubles more
/// for the call) that replaces them once every pivot has passed; without
/// room for the copy the substitution follows the factorisation.
void GaussTape(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b);

/// The same for a symmetric matrix of order n in packed upper-triangle
/// storage (row i holds the n − i elements (i, i) … (i, n−1)), which is
/// overwritten by the factors. Each row's count reaches the highest column
/// that any row so far (this one included) has a non-zero in, which satisfies
/// the envelope rule with room for all the fill-in.
void GaussTape(unsigned int n, double* a, unsigned int m, double* b);

} // namespace zel
