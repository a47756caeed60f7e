#pragma once

// The loft: a band of triangles between two closed rings of points.

#include <vector>

#include "relief/CHTriangulation.h"

class CSSE3dPolygon;

namespace relief::detail {

// Every step-th point of the polygon (0, step, 2 step, .. below the count)
// as (x, y, z, 0); a step below 1 counts as 1.
std::vector<SSEPoint> RingOfPolygon(const CSSE3dPolygon& polygon, int step);

// Turns b to run the same way round as a (by the sign of the dot product of
// their area normals) and rotates it to start at its point nearest a[0].
void OrientLike(const std::vector<SSEPoint>& a, std::vector<SSEPoint>& b);

// Appends to out (three corners per triangle) the band between the closed
// rings a and b, oriented alike: n + m triangles for n and m points, every
// point of both rings used. The rings are matched by normalised arc length
// from a[0] and b[0]: the band advances on whichever ring's next point
// comes first. Each triangle runs along a in a's direction and along b
// against it, so the band from a lower ring a to an upper ring b, both
// counter-clockwise seen from above, faces outward. Rings of fewer than
// three points give nothing.
void LoftBand(const std::vector<SSEPoint>& a, const std::vector<SSEPoint>& b, std::vector<SSEPoint>& out);

// Appends a fan of one triangle per ring edge around the ring's mean point;
// with againstRing each triangle runs its edge from point i + 1 to point i,
// otherwise from i to i + 1.
void RingCap(const std::vector<SSEPoint>& ring, bool againstRing, std::vector<SSEPoint>& out);

// Reverses the corner order of the triangles from corner index `from` on.
void ReverseTriangles(std::vector<SSEPoint>& corners, std::size_t from);

// Re-creates m with the triangles of the corner list (three points each).
void FillCorners(CHTriangulation& m, const std::vector<SSEPoint>& corners);

// The two-polygon loft of the constructors: the band between every step-th
// point of first and of second (first taken as the lower ring a), with
// closeEnds a fan over each ring facing away from the band (a closed solid),
// every triangle reversed when flip; m re-created with the result. A null
// polygon or one with fewer than three ring points gives an empty mesh.
void LoftPolygons(CHTriangulation& m, CSSE3dPolygon* first, CSSE3dPolygon* second, int step, bool flip,
                  bool closeEnds);

}  // namespace relief::detail
