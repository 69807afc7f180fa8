#pragma once
/// \file
/// Tolerant comparison of doubles and of arrays of doubles and floats.
///
/// The tolerance is relative: two values are equal when
/// |a − b| ≤ tol·(|a| + |b|). Nothing is therefore equal to 0 but 0 itself,
/// whatever the tolerance.

namespace zel {

/// 0 when `a` and `b` are equal within the relative tolerance `tol`,
/// otherwise 1 when a > b and −1 when a < b.
///
/// Values that are exactly equal (0 and 0, an infinity and itself) always
/// compare 0, even with a negative tolerance; an infinity equals nothing
/// else. The rule holds up to the largest doubles (no overflow of the sum).
/// A NaN is never equal to anything and is never greater: it compares −1 on
/// either side.
int CompareDouble(double a, double b, double tol);

/// Compares a[i] with b[i] for i = 0 … n−1 by the rule above and returns the
/// result of the first pair that is not equal; 0 when all pairs are equal
/// and when n = 0 (the pointers are then not read).
int CompareDouble(unsigned int n, const double* a, const double* b, double tol);

/// −1 when na < nb, 1 when na > nb, whatever the values; with equal counts
/// the element-wise comparison of the na pairs.
int CompareDouble(unsigned int na, const double* a, unsigned int nb, const double* b, double tol);

/// The array comparisons for `float` values; each pair is compared as
/// doubles with the rule of `CompareDouble`.
int CompareFloat(unsigned int n, const float* a, const float* b, double tol);
int CompareFloat(unsigned int na, const float* a, unsigned int nb, const float* b, double tol);

} // namespace zel
