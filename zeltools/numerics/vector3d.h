#pragma once
/// \file
/// Vectors of three components and direction-cosine matrices, the geometry
/// of bars and local frames in space.
///
/// A vector is three consecutive doubles (x, y, z). A direction-cosine
/// matrix `t` is 3×3, row-major (nine doubles): its rows are the unit axes
/// x′, y′, z′ of a local frame in global components, so that
/// v_local = t·v_global and v_global = tᵀ·v_local. The frames built here are
/// right-handed (x′ × y′ = z′) and t is orthonormal with determinant +1.
/// Angles are in radians. Outputs may be the same arrays as inputs unless a
/// function says otherwise.

namespace zel {

/// a · b.
double ScalarProduct(const double* a, const double* b);

/// c = a × b; c may be a or b.
void VectorProduct(const double* a, const double* b, double* c);

/// Euclidean length |a|.
double NormVector(const double* a);

/// Scales a to unit length in place and returns its former length. A zero
/// vector is left as it is and 0.0 is returned.
double NormVect(double* a);

/// Unit vector from point p1 to point p2 into `ort`; returns the distance
/// |p2 − p1|. Coincident points give ort = (0, 0, 0) and 0.0.
double VectorOrt(const double* p1, const double* p2, double* ort);

/// r = t·v, or tᵀ·v when `transpose` is non-zero, for the 3×3 matrix t: from
/// global to local components of the frame t, or back. r may be v.
void MultVect(const double* t, const double* v, double* r, unsigned char transpose = 0);

/// Direction cosines of a bar from p1 to p2 turned by `angle` about its axis.
/// x′ runs along the bar. For angle 0, y′ is horizontal (y′ = Z × x′,
/// normalised, Z the global vertical) and z′ = x′ × y′ points upwards (its Z
/// component is non-negative). A bar whose horizontal projection is below
/// 1e-10 of its length counts as vertical; it takes z′ = x′ × Y (normalised,
/// Y the global Y axis) and y′ = z′ × x′, which is Y for an exactly vertical
/// bar. `angle` then turns y′ and z′ about x′ by the right-hand rule:
/// y′ = cos·y′₀ + sin·z′₀, z′ = −sin·y′₀ + cos·z′₀.
/// Returns the bar length; a bar of length 0 gets the identity and 0.0.
double MatrCos(const double* p1, const double* p2, double angle, double* t);

/// Direction cosines of the frame reached from the global one by proper Euler
/// angles z-x-z: `psi` about Z, then `theta` about the new x′, then `phi`
/// about the new z′ (each by the right-hand rule). With R = Rz(psi)·Rx(theta)·
/// Rz(phi), t = Rᵀ: for example psi = π/2 alone gives x′ = Y, y′ = −X.
void MatrCosEuler(double psi, double theta, double phi, double* t);

/// Clears rounding noise in the 3×3 matrix t: entries with absolute value at
/// most `eps` become exactly 0.0 (cos(π/2) gives 6.1e-17, for instance), so
/// that axes parallel to global ones give exact zeros downstream. A negative
/// `eps` changes nothing.
void MatrCosClear(double* t, double eps = 1e-14);

} // namespace zel
