// CSSE3dPolygon: replacement by the planar convex hull (monotone chain).

#include <algorithm>
#include <vector>

#include "planar_points.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::Pt;

void CSSE3dPolygon::ReplaceByConvexHullXY() {
  if (m_nNumPoints == 0) return;
  std::vector<Pt> pts = relief::detail::ReadPoints(*this);
  // Sorted by (x, y); stable, so among equal positions the first one's z stays.
  std::stable_sort(pts.begin(), pts.end(), [](const Pt& a, const Pt& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  pts.erase(std::unique(pts.begin(), pts.end(), [](const Pt& a, const Pt& b) { return a.x == b.x && a.y == b.y; }),
            pts.end());
  if (pts.size() <= 2) {
    relief::detail::WritePoints(*this, pts);
    return;
  }
  auto cross = [](const Pt& o, const Pt& a, const Pt& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
  };
  // Lower chain left to right, then upper chain right to left: counter-
  // clockwise. Only strict left turns stay, so collinear points drop out.
  std::vector<Pt> hull;
  hull.reserve(2 * pts.size());
  for (int pass = 0; pass < 2; ++pass) {
    const std::size_t base = hull.size();
    for (std::size_t k = 0; k < pts.size(); ++k) {
      const Pt& p = pass == 0 ? pts[k] : pts[pts.size() - 1 - k];
      while (hull.size() >= base + 2 && cross(hull[hull.size() - 2], hull.back(), p) <= 0) hull.pop_back();
      hull.push_back(p);
    }
    hull.pop_back();  // the turning point starts the other chain
  }
  // All points on one line: the chains hold just the two end points.
  relief::detail::WritePoints(*this, hull);
}
