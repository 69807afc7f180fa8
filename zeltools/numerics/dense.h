#pragma once
/// \file
/// Dense linear algebra on caller-owned arrays of doubles: small determinants
/// and closed-form inverses, the Gauss solver with a choice of reaction to a
/// vanishing pivot, the rank of a rectangular matrix, products, transposition
/// and the packed storage of symmetric matrices as an upper triangle.
///
/// Storage: full matrices are row-major (element (i, j) of an r×c matrix at
/// i·c + j); m right-hand sides of order n are m consecutive vectors (component
/// i of vector j at j·n + i); a packed symmetric matrix of order n keeps its
/// upper triangle row after row, n(n+1)/2 values.
///
/// None of these functions checks the sizes of the arrays it is given, and all
/// outputs must be distinct from all inputs. Every result is the outcome of
/// the arithmetic given for each function, operation by operation, to the
/// last bit: the fast paths only change the memory order and run independent
/// elements side by side, never the order of operations on one element.

namespace zel {

/// Determinant of the row-major 3×3 matrix a by the rule of Sarrus:
/// a1·a5·a6 + a4·a0·a8 + a3·a7·a2 − a4·a2·a6 − a3·a1·a8 − a7·a5·a0, evaluated
/// left to right.
double Det3x3(double* a);

/// Determinant of the row-major 4×4 matrix a, expanded along the first row:
/// a0·M0 − a1·M1 + a2·M2 − a3·M3, each minor Mk (rows 1–3 without column k)
/// taken by `Det3x3`.
double Det4x4(double* a);

/// Writes the inverse of the 2×2 matrix a into b and returns the determinant
/// a0·a3 − a1·a2. A determinant of exactly 0.0 is returned at once with b
/// untouched; there is no tolerance.
double MatrixInversion2x2(const double* a, double* b);

/// Writes the inverse of the 3×3 matrix a into b and returns the determinant
/// (expansion along the first column). b first receives the nine 2×2 minors
/// in adjugate order; when the determinant is exactly 0.0 they stay there
/// (b is overwritten even for a singular matrix) and 0.0 is returned.
/// Otherwise element k is divided by det for even k and by −det for odd k.
double MatrixInversion3x3(const double* a, double* b);

/// Solves a·x = b for m right-hand sides by Gaussian elimination with partial
/// pivoting; the solutions replace b and a is left transformed (its upper
/// triangle holds the normalised rows, the entries below the diagonal the
/// multipliers as they were when used; row exchanges at column k move only
/// columns k … n−1).
///
/// Pivot search keeps the upper row on ties. A pivot with |a[k][k]| ≤ eps is
/// singular, and then `mode` decides:
/// - mode 0: throws `Exception` (code 2) "Null diagonal";
/// - mode 1 … 9: the row is divided by 1e40 instead, so the unknown comes out
///   practically zero and the others solve the rest of the system;
/// - mode ≥ 10: returns 0 at once.
/// In the first and last case a and b hold exactly the state the elimination
/// had reached when the pivot was tested (steps before k done, the exchange of
/// step k made). n = 0 returns 1 and touches nothing; otherwise 1 on success.
///
/// Orders from 96 on are eliminated in panels of columns, which takes working
/// storage of about 130·n doubles (1 MB per thousand unknowns) for the time
/// of the call, plus 16,384·`GetNumThreads()` doubles. The results do not
/// depend on it, and when the storage cannot be had the elimination runs in
/// place. The updates of each panel are shared among up to
/// `GetNumThreads()` threads when they hold at least 10^6 element updates
/// (from an order of about 180); the results do not depend on the count.
unsigned char Gauss(unsigned int n, double* a, unsigned int m, double* b, unsigned char mode, double eps);

/// The same steps on `long double` arrays, with the same thresholds, divisor
/// and message; the tolerance stays a `double`. It computes in the platform's
/// `long double` format (80-bit extended on x86), so its results agree with
/// the `double` overload only where the two formats coincide.
unsigned char Gauss(unsigned int n, long double* a, unsigned int m, long double* b, unsigned char mode, double eps);

/// Rank of the rows×cols matrix a (left unchanged), found by elimination on a
/// working copy that is transposed when rows < cols. index receives, for each
/// independent row found, its number in the order vector that the elimination
/// keeps; it needs room for min(rows, cols) entries and only the first `rank`
/// are written. A column whose largest remaining entry has |value| < eps is
/// dependent (a maximum equal to eps counts as independent). When an exchange
/// is needed, the order entries at the pivot row and at the column number are
/// swapped; the two positions agree as long as no column has been found
/// dependent, and the rule is kept for compatibility with existing callers.
unsigned int RangMatr(unsigned int rows, unsigned int cols, double* a, unsigned int* index, double eps);

/// c = op(a)·op(b) with P = |p|, Q = |q|, R = |r|: op(a) is P×Q, stored as is
/// when p > 0 and as its Q×P transpose otherwise; op(b) is Q×R, stored as is
/// when r > 0 and as its R×Q transpose otherwise; the sign of q is ignored.
/// Each element is 0.0 plus the products in increasing l, and c is filled
/// consecutively by rows; with `upper` set only the elements j ≥ i are
/// written, so a square symmetric product comes out as a packed triangle.
/// When P, Q and R are all 3 the work goes to `MultMatr3x3(a, b, c, p, r)`,
/// which writes all nine values whatever `upper` says.
void MultMatr(const double* a, const double* b, int p, int q, int r, double* c, unsigned char upper);

/// 3×3 product c = op(a)·op(b). Cases in this order: sa > 0 and sb > 0 gives
/// a·b; sa < 0 and sb > 0 gives aᵀ·b; sa ≥ 1 and sb < 0 gives a·bᵀ; anything
/// else gives aᵀ·bᵀ, so a zero sign means "transposed" (kept for
/// compatibility). Each element is the three products added left to right.
void MultMatr3x3(const double* a, const double* b, double* c, int sa, int sb);

/// b = transpose of the n×n matrix a (a separate array; no in-place form).
void MatrTranspose(unsigned int n, const double* a, double* b);

/// a is rows×cols; b becomes cols×rows with b[j·rows + i] = a[i·cols + j].
void MatrTranspose(unsigned int rows, unsigned int cols, const double* a, double* b);

/// Number of values of a packed triangle of order n: ((n+1)·n) >> 1 in
/// unsigned 32-bit arithmetic.
unsigned int MatrElemSize(unsigned int n);

/// Index of element (i, j), in either triangle, of a packed triangle of order
/// n: ((2n − lo − 1)·lo)/2 + hi with lo = min(i, j), hi = max(i, j), all in
/// unsigned 32-bit arithmetic.
unsigned int IndexMatrTriang(unsigned int n, unsigned int i, unsigned int j);

/// Sets the n(n+1)/2 values of a packed triangle to zero.
void MatrElemClear(unsigned int n, double* a);
/// The same as `MatrElemClear`.
void ClearMatrTriang(unsigned int n, double* a);
/// Copies the n(n+1)/2 values of a packed triangle.
void CopyMatrTriang(unsigned int n, const double* src, double* dst);

/// Appends a packed triangle of order n to the debugging file (`dPrintf`):
/// "\n\n%d" with number; "   %s" with title when it is not null; then for
/// each row i the head "\n%d " with i and its n − i values, each as " %s".
/// A value is written by `DoubleChar` in at most 15 characters; one whose
/// exact text is longer is rounded (`DoubleCharP`) to the most significant
/// digits that fit, so that no value is ever left blank.
void PrintMatr(unsigned int number, unsigned int n, const double* a, const char* title);

} // namespace zel
