#pragma once
/// \file
/// Renumbering of the unknowns of a symmetric system to shrink the profile
/// of the band solver: the cost of the factorisation grows with the square
/// of the rows' lengths, and a numbering taken from the model's input order
/// is rarely a good one.
///
/// The graph of the matrix is given in compressed rows: the neighbours of
/// vertex i (0-based) are adjacent[start[i]] … adjacent[start[i+1] − 1].
/// Each connection may be listed in one direction or both; self-references
/// and repetitions are ignored.

#include "zeltools/containers/vector.h"

namespace zel {

/// A numbering and what it does to the profile.
struct SRenumber {
  /// order[k]: the old number of the vertex that gets new number k.
  Vector<unsigned int> order;
  /// position[v]: the new number of old vertex v (the inverse of order).
  Vector<unsigned int> position;
  /// Stored values of the band rows in the old and in the new numbering.
  unsigned long long profileBefore = 0;
  unsigned long long profileAfter = 0;
  /// Multiply-subtract updates of a factorisation of those rows (zeros not
  /// counted as skipped), the solver's cost, in the old and new numbering.
  unsigned long long workBefore = 0;
  unsigned long long workAfter = 0;
};

/// Number of values the band solver stores for the graph numbered by
/// `position` (null: as given): the sum over rows of e_i − i + 1, where e_i is
/// the farthest column that row i or any row above it reaches, the count the
/// packed entry point of the solver gives each row. Throws `Exception` (code
/// 2) when a neighbour number is not below n.
unsigned long long BandProfile(unsigned int n, const unsigned int* start, const unsigned int* adjacent,
                               const unsigned int* position = nullptr);

/// Updates of a factorisation of the band rows of `BandProfile`: the sum over
/// rows of c(c − 1)/2 for a row of c values. Same arguments and failures.
unsigned long long BandWork(unsigned int n, const unsigned int* start, const unsigned int* adjacent,
                            const unsigned int* position = nullptr);

/// Reverse Cuthill–McKee numbering: each connected part is numbered by a
/// breadth-first sweep from a pseudo-peripheral vertex, neighbours by
/// increasing degree, and the whole sequence is reversed. Sweeps from both
/// ends of each part's pseudo-diameter are compared with the given numbering
/// by `BandWork` (then by `BandProfile`); the least wins, the given numbering
/// on a tie, so the solver's work never grows. (A smaller profile can still
/// cost more: the work weighs long rows more.) Throws `Exception` (code 2)
/// when a neighbour number is not below n.
SRenumber RenumberBand(unsigned int n, const unsigned int* start, const unsigned int* adjacent);

} // namespace zel
