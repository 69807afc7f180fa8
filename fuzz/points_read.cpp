// Stored point and segment vectors, and the indexes built over what was read:
// for every point read, the grid index must find the lowest position that a
// plain scan finds within 0.125 (the kept inputs of tests/corpus/point_index
// once made it miss one).
#include <cstdlib>

#include "fuzz_support.h"
#include "zeltools/geometry/point_vectors.h"
#include "zeltools/geometry/segment.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  VPoint2D plane;
  plane.push_back(CPoint2D(0, 0));
  plane.push_back(CPoint2D(1.5, -2));
  plane.push_back(CPoint2D(1e6, 3));
  VPoint3D space;
  space.push_back(CPoint3D(1, 2, 3));
  space.push_back(CPoint3D(-1, 0.25, 8));
  VSegment segments;
  segments.push_back(CSegment(CPoint2D(0, 0), CPoint2D(1, 1)));
  seeds.Add("plane", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; plane.Write(f, d, 1); }));
  seeds.Add("space", fuzz::Written(1, [&](CFileBase& f) { DOCUMENT d; space.Write(f, d, 1); }));
  seeds.Add("segments", fuzz::Written(2, [&](CFileBase& f) { DOCUMENT d; segments.Write(f, d, 1); }));
}

template <class Index, class Points>
static void ExpectIndexAgreesWithScan(Points& points) {
  constexpr double tol = 0.125;
  Index index(points, tol);
  for (std::size_t i = 0; i < points.size(); ++i) {
    unsigned int first = 0;
    for (std::size_t j = 0; j < points.size() && first == 0; ++j)
      if (points[j].IsEqual(points[i], tol)) first = static_cast<unsigned int>(j + 1);
    if (index.Find(points[i]) != first) std::abort();
  }
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 4, [&](CFileBase& file, const DOCUMENT doc) {
    switch (data[0] & 3) {
    case 0: {
      VPoint2D points;
      points.Read(file, doc);
      ExpectIndexAgreesWithScan<CPointIndex2D>(points);
      break;
    }
    case 1: {
      VPoint3D points;
      points.Read(file, doc);
      ExpectIndexAgreesWithScan<CPointIndex3D>(points);
      break;
    }
    default: {
      VSegment segments;
      segments.Read(file, doc);
    }
    }
  });
}
