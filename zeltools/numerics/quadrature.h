#pragma once
/// \file
/// Integration points and weights on the elementary shapes of finite-element
/// work: segments, triangles, rectangles, parallelograms, boxes and
/// tetrahedra, plus Newton–Cotes weights for equally spaced points.
///
/// The library never evaluates an integrand: a routine hands back points and
/// weights, and the caller sums weight × f(point).
///
/// Two layers:
/// - table routines return pointers into constant tables on a reference shape
///   (the interval [0, 1], area coordinates of a triangle, volume coordinates
///   of a tetrahedron); the tables live for the whole process and the weights
///   of each rule sum to 1 (to the rounding of their printed literals);
/// - mapping routines fill caller arrays with the points and weights on a
///   given shape, the weights already scaled by its length, area or volume.
///   Every output array needs room for the number of points reported.
///
/// Rule sizes and the polynomial degree each rule integrates exactly:
/// line (Gauss–Legendre) n points: degree 2n − 1 (n = 1 … 7);
/// triangle 1, 3, 7, 12, 16 points: degree 1, 2, 5, 6, 8;
/// tetrahedron 1, 4 points: degree 1, 2.
///
/// Line-based mapping routines (interval, segment, rectangle, parallelogram,
/// box) share one rule of orders: 1 … 7 give that many points per direction;
/// 0 gives no points; orders above 7 give the 5-point rule (the default of the
/// line tables), and `count` reports what was written.

namespace zel {

class CPoint3D;

// --- table routines ----------------------------------------------------------

/// Gauss rule on [0, 1]: orders 1 … 4 give that many points, order 5 and
/// above the 5-point rule. Order 0 leaves both pointers unchanged. The number
/// of points is not returned.
void GaussPointLine(unsigned int order, const double*& weights, const double*& points);

/// Gauss rule on [0, 1]: orders 1 … 7 give that many points with
/// count = order; every other order (0, 8 and above) the 5-point rule with
/// count 5.
void NumericalIntegrationLine(unsigned int order, unsigned int& count, const double*& weights,
                              const double*& points);

/// Triangle rule in area coordinates: order 1 gives 1 point (its coordinates
/// are 0.333333333333332, kept as the table has always had them); 2 or 3 give 3 points;
/// 4 … 7 give 7; every other order (0, 8 and above) gives 12. The number of
/// points is not returned.
void GaussPointTriang(unsigned int order, const double*& weights, const double*& l1, const double*& l2);

/// Triangle rule in area coordinates: order 1 gives 1 point; 2 or 3: 3;
/// 4 … 7: 7; 8 … 12: 12; every other order (0, 13 and above): 16. count is
/// the number of points.
void NumericalIntegrationTriangle(unsigned int order, unsigned int& count, const double*& weights,
                                  const double*& l1, const double*& l2);

/// Tetrahedron rule in volume coordinates: order 1 gives the 1-point rule,
/// every other order the 4-point tables. count is set to `order` itself in
/// both cases (kept for compatibility), so only orders 1 and 4 describe a
/// complete rule; the tables hold 1 and 4 entries, and a caller must not read
/// more than that whatever count says.
void NumericalIntegrationTetrahedron(unsigned int order, unsigned int& count, const double*& weights,
                                     const double*& l1, const double*& l2, const double*& l3);

// --- mapping routines --------------------------------------------------------

/// Gauss points on the interval between a and b: weights[i] = w_i·|b − a|,
/// points[i] = t_i·(b − a) + a, so the weights are positive also for b < a.
/// count = order for orders 0 … 7 (order 0 writes nothing); orders above 7
/// write the 5-point rule and report count 5.
void NumericalIntegrationLine(unsigned int order, double a, double b, unsigned int& count, double* weights,
                              double* points);

/// Gauss points on the plane segment (x1, y1)–(x2, y2): weights scaled by its
/// length L = sqrt((x2 − x1)² + (y2 − y1)²). A segment of length 0 yields
/// count 0 and writes nothing. Orders as for the interval.
void NumericalIntegrationLine(unsigned int order, double x1, double y1, double x2, double y2, unsigned int& count,
                              double* weights, double* x, double* y);

/// Triangle rule of `order` (sizes as the table routine) mapped onto the
/// triangle (x1, y1), (x2, y2), (x3, y3); weights scaled by its area. A
/// degenerate triangle keeps its points and gets zero weights.
void NumericalIntegrationTriangle(unsigned int order, double x1, double y1, double x2, double y2, double x3,
                                  double y3, unsigned int& count, double* weights, double* x, double* y);

/// Product Gauss rule on the rectangle [0, a] × [0, b]: order² points, x
/// varying slowest, y fastest; weight W_i·W_j·a·b (a negative side gives
/// negative weights, kept as the rectangle's signed measure). Orders as for
/// the interval (per direction), so count is order², or 25 above order 7.
/// Exact for polynomials of degree up to 2·order − 1 in each variable.
void NumericalIntegrationQuadrangle(unsigned int order, double a, double b, unsigned int& count, double* weights,
                                    double* x, double* y);

/// Product Gauss rule on the parallelogram with corners P1 = (x1, y1),
/// P2 = (x2, y2), P2 + P3 − P1 and P3 = (x3, y3): P1 is a corner and P2, P3
/// its two neighbours. A rectangle is the case of perpendicular sides.
/// Point (i, j) is P1 + t_i·(P2 − P1) + t_j·(P3 − P1), i slowest, j fastest,
/// and its weight W_i·W_j·area, area = |(P2 − P1) × (P3 − P1)|, so the
/// weights are positive whatever the orientation. Exact for polynomials of
/// total degree up to 2·order − 1. Orders as for the rectangle. Coincident
/// corners or collinear sides (zero area) yield count 0 and write nothing.
void NumericalIntegrationQuadrangle(unsigned int order, double x1, double y1, double x2, double y2, double x3,
                                    double y3, unsigned int& count, double* weights, double* x, double* y);

/// Product Gauss rule on the box [0, a] × [0, b] × [0, c]: order³ points, x
/// varying slowest, z fastest; weight W_i·W_j·W_k·|a·b·c|, so the weights are
/// positive and sum to the box's volume. Orders as for the interval (per
/// direction), so count is order³, or 125 above order 7. Exact for
/// polynomials of degree up to 2·order − 1 in each variable.
void NumericalIntegrationParallelepiped(unsigned int order, double a, double b, double c, unsigned int& count,
                                        double* weights, double* x, double* y, double* z);

/// Tetrahedron rule of `order` mapped onto p1 … p4: point p1 + L1·(p2 − p1) +
/// L2·(p3 − p1) + L3·(p4 − p1), weight W·volume, volume = |det(edges)|/6.
/// count = order as in the table routine. Orders 2 and 3 write the first 2 or
/// 3 points of the 4-point rule; orders above 4 write the 4-point rule and
/// then points at p1 with weight 0.0 up to count, so that summing over count
/// points still gives the 4-point rule. Order 0 writes nothing.
void NumericalIntegrationTetrahedron(unsigned int order, CPoint3D& p1, CPoint3D& p2, CPoint3D& p3, CPoint3D& p4,
                                     unsigned int& count, double* weights, double* x, double* y, double* z);

/// Newton–Cotes weights for n equally spaced points on [0, 1], first and last
/// at the ends. n < 3 copies the first n of the 2-point Gauss weights
/// (0.5, 0.5), so n = 1 writes 0.5, not 1 (kept for compatibility); n = 3, 4, 5
/// copy fixed tables; n ≥ 6 solve the moment equations Σ_i w_i·x_iᵏ = 1/(k + 1)
/// for k = 0 … n − 1 (a degenerate unknown comes out as practically zero
/// instead of failing). The moment matrix takes n² + 1 doubles from the
/// library allocator, which reports a request above its ceiling (message
/// 202); the work grows as n³. The powers x_iᵏ, x_i = i/(n − 1), are built by
/// repeated multiplication. The moment matrix is ill-conditioned: the
/// weights carry errors near 1e-13 at n = 6 and 1e-10 at n = 12, growing fast
/// beyond; negative weights appear from n = 9 on, as in every Newton–Cotes
/// rule of that size.
void NumericalIntegrationLine(unsigned int n, double* weights);

} // namespace zel
