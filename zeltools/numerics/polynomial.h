#pragma once
/// \file
/// Small polynomial work: values and derivatives of a polynomial given by its
/// coefficients, the two-variable monomial basis of the plate fit, and the
/// real roots of quadratic and cubic equations.
///
/// A polynomial of degree n has n + 1 coefficients c[0 … n] in ascending
/// powers (c[0] is the constant).

namespace zel {

/// p(x) = Σ c[k]·xᵏ (k = 0 … n) when `derivative` is 0, else
/// p′(x) = Σ k·c[k]·xᵏ⁻¹ (k = 1 … n). Powers are built by repeated
/// multiplication and summed from the constant term up. A result whose
/// absolute value is below 1e-20 is returned as exactly 0.0 (both modes).
double PolyValue(unsigned int n, const double* c, double x, int derivative);

/// Coefficients of the k-th derivative of the polynomial c of degree n, in
/// n + 1 places with zeros above degree n − k (all zeros when k > n).
/// When `out` is not null the coefficients are copied there and the work is
/// done in `out`. When `out` is null the routine differentiates `c` itself,
/// writing through the pointer although it is declared const: the caller must
/// then pass writable storage. k = 0 (or the largest unsigned value) leaves
/// the coefficients as they are (after the copy into `out`).
void PolyDiffer(unsigned int k, unsigned int n, const double* c, double* out);

/// Number of terms of the two-variable monomial basis (complete up to
/// degree 8).
inline constexpr unsigned int StepPolyTerms = 45;

/// Term k of the two-variable monomial basis at (x, y). The basis runs by
/// total degree and, within a degree, by falling power of x: 1, x, y, x², xy,
/// y², x³, x²y, xy², y³, …, y⁸ (k = 0 … 44); degree d occupies
/// k = d(d+1)/2 … d(d+1)/2 + d. k above 44 is taken as 44. A zero x or y
/// raised to a positive power gives exactly 0.0; otherwise the value is
/// |x|ᵖ·|y|^q with the sign of xᵖ·y^q.
double StepPoly(unsigned int k, double x, double y);

/// Real roots of a·x² + b·x + c. Both x1 and x2 are first set to 0.0.
/// A leading coefficient that is 0.0 or below |b|·1e-150 makes the equation
/// linear: one root −c/b (result 1), or none when b is 0 too (result 0).
/// Otherwise, with P = b/a and D = P² − 4·c/a: D below
/// −(|c| + |b| + |a|)·1e-10 means complex roots (result 0, x1 = x2 = 0.0);
/// else x1 = (−P − √D)/2 ≤ x2 = (√D − P)/2 (a slightly negative D counts as
/// 0) and the result is 2, also for a double root.
int RootPoly2(double a, double b, double c, double& x1, double& x2);

/// Real roots of a·x³ + b·x² + c·x + d by Cardano's formula in complex
/// arithmetic (principal values of the standard complex functions; real cube
/// roots taken with the exponent 0.333333333333333, not the exact third, so
/// x³ = 8 gives 1.9999999999999984; kept for compatibility with stored
/// results).
///
/// - A leading coefficient that is 0.0 or below |b|·1e-150: the quadratic
///   `RootPoly2(b, c, d, x1, x2)` is solved and its result returned; x3 is not
///   written.
/// - One real root (positive discriminant): result 1, x1 set, x2 and x3 not
///   written.
/// - Otherwise result 3 (a double root appears twice). The roots are ordered
///   by this fixed sequence: exchange x1 and x2 if x1 > x2; then if x1 > x3,
///   exchange x1 and x3 and stop; else exchange x2 and x3 if x2 > x3. The
///   sequence is kept as it is. The early stop would leave x2 > x3 only if
///   the third value came out below the second, which Cardano's formula never
///   gives (it yields the largest, the smallest and the middle root, in that
///   order), so three roots come back ascending.
int RootPoly3(double a, double b, double c, double d, double& x1, double& x2, double& x3);

/// The same steps in `long double`, with the same constants (the double
/// literals, widened); where `long double` and `double` coincide the two
/// overloads give the same results.
int RootPoly3(long double a, long double b, long double c, long double d, long double& x1, long double& x2,
              long double& x3);

} // namespace zel
