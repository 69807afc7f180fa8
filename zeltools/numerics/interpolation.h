#pragma once
/// \file
/// Table look-up: piecewise-linear interpolation in a one-dimensional table,
/// bilinear interpolation in a two-dimensional table, and a least-squares
/// polynomial surface through scattered points of a plane.
///
/// Tables are never extrapolated: outside their range the end values hold.
/// Abscissae are expected in ascending order; the routines do not check it.

namespace zel {

/// Piecewise-linear value at x of the table (xs[i], ys[i·stride]),
/// i = 0 … n − 1.
/// - n < 1 gives 0.0; a stride below 1 is taken as 1.
/// - x ≤ xs[0] gives ys[0] (this comes first, also when xs[0] = xs[1]).
/// - Otherwise the first interval xs[i−1] ≤ x ≤ xs[i] is used; an interval of
///   zero width gives the mean of its two ordinates.
/// - x beyond the last abscissa (or NaN) gives the last ordinate.
double Interpol(double x, const double* xs, const double* ys, int n, int stride);
/// The same in `float` arithmetic.
float Interpol(float x, const float* xs, const float* ys, int n, int stride);

/// Bilinear value at (x, y) of the table whose value for (xs[i], ys[j]) is
/// table[j·nx + i] (nx abscissae xs, ny abscissae ys, both ascending).
/// - nx < 1 or ny < 1 gives 0.0.
/// - Outside both ranges (at or below the first abscissa, or beyond the last,
///   in each direction): the value at the nearest corner.
/// - Outside in one direction only: linear interpolation along the first or
///   last column or row (x at or below xs[0] is checked first, then beyond
///   the last x, then y).
/// - Inside: the bilinear form on the first cell containing (x, y). Equal
///   neighbouring abscissae inside the table are not guarded against.
double InterpolTable(double x, double y, const double* xs, const double* ys, const double* table, int nx, int ny);
/// The same in `float` arithmetic.
float InterpolTable(float x, float y, const float* xs, const float* ys, const float* table, int nx, int ny);

/// Least-squares fit of the complete polynomial of `degree` in two variables
/// (the first N = (degree + 1)(degree + 2)/2 terms of `StepPoly`) to the m
/// points (x, y) stored pairwise in `points` with the given `values`,
/// evaluated at the point (at[0], at[1]).
///
/// The normal equations are formed point by point and solved by Gaussian
/// elimination that throws `Exception` "Null diagonal" on a pivot of exactly
/// zero. Fewer distinct points than terms, or points on a line (degree ≥ 1),
/// make the system singular: no points at all, or points whose arithmetic
/// cancels exactly, throw; where rounding leaves a tiny pivot instead, the
/// result is meaningless, so callers guard against such point sets. Degrees
/// above 8 throw at once, since the basis ends at degree 8 and further terms
/// would repeat the last one. A negative degree gives 0.0; m < 0 counts as no
/// points. The working storage comes from the library allocator and is
/// released also when the solver throws.
double InterpolPlate(int degree, int m, const double* points, const double* values, const double* at);

} // namespace zel
