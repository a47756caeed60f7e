// CSSE3dPolygon: quasi-Minkowski dilation and erosion, a mitred move of every
// corner that keeps the count and the order (cheap, no crossing resolution).

#include <cmath>
#include <vector>

#include "planar_points.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::Pt;

namespace {

// Moves every corner by signedDistance along the outward mitre (inward for a
// negative value). Returns false when the polygon has no area to offset.
bool MitreOffset(std::vector<Pt>& pts, double signedDistance) {
  const std::vector<Pt> ring = relief::detail::WithoutRepeats(pts);
  if (ring.size() < 3 || !relief::detail::AllFinite(ring)) return false;
  const double area = relief::detail::TwiceSignedArea(ring);
  if (area == 0.0) return false;
  // Outward is to the right of the walk for a counter-clockwise ring.
  const double outward = area > 0 ? signedDistance : -signedDistance;
  const int n = static_cast<int>(pts.size());
  std::vector<Pt> moved(pts);
  // For each point, the nearest different point before and after it; a run
  // of repeats shares them, so all its copies move together.
  auto distinct = [&](int i, int dir) {
    for (int k = 1; k < n; ++k) {
      const Pt& q = pts[((i + dir * k) % n + n) % n];
      if (q.x != pts[i].x || q.y != pts[i].y) return q;
    }
    return pts[i];
  };
  for (int i = 0; i < n; ++i) {
    const Pt &p = pts[i], prev = distinct(i, -1), next = distinct(i, 1);
    double ax = p.x - prev.x, ay = p.y - prev.y, bx = next.x - p.x, by = next.y - p.y;
    const double la = std::hypot(ax, ay), lb = std::hypot(bx, by);
    ax /= la, ay /= la, bx /= lb, by /= lb;
    // Right normals of the incoming and outgoing edges.
    const double n1x = ay, n1y = -ax, n2x = by, n2y = -bx;
    const double cosTurn = n1x * n2x + n1y * n2y;  // cos of the angle between the normals
    double vx, vy;
    if (1.0 + cosTurn < 0.5) {
      // Sharper than 120 degrees: the mitre would exceed 2 distance; cap it
      // along the bisector (along the spur for a full reversal).
      double mx = n1x + n2x, my = n1y + n2y;
      double lm = std::hypot(mx, my);
      if (lm < 1e-12) mx = ax, my = ay, lm = 1.0;
      vx = 2.0 * mx / lm, vy = 2.0 * my / lm;
    } else {
      vx = (n1x + n2x) / (1.0 + cosTurn), vy = (n1y + n2y) / (1.0 + cosTurn);
    }
    moved[i].x = p.x + outward * vx;
    moved[i].y = p.y + outward * vy;
  }
  pts.swap(moved);
  return true;
}

// True when every edge of distinct end points points the other way after the
// move.
bool EveryEdgeReversed(const std::vector<Pt>& before, const std::vector<Pt>& after) {
  const std::size_t n = before.size();
  bool any = false;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = (i + 1) % n;
    const double bx = before[j].x - before[i].x, by = before[j].y - before[i].y;
    if (bx == 0 && by == 0) continue;
    any = true;
    if ((after[j].x - after[i].x) * bx + (after[j].y - after[i].y) * by > 0) return false;
  }
  return any;
}

bool UsableDistance(float d) { return d > 0.0f && std::isfinite(d); }

}  // namespace

void CSSE3dPolygon::DoQuasiMinkowskiDilation(float distance) {
  if (!UsableDistance(distance)) return;
  std::vector<Pt> pts = relief::detail::ReadPoints(*this);
  if (MitreOffset(pts, distance)) relief::detail::WritePoints(*this, pts);
}

void CSSE3dPolygon::DoQuasiMinkowskiErosion(float distance) {
  if (!UsableDistance(distance)) return;
  std::vector<Pt> pts = relief::detail::ReadPoints(*this);
  const std::vector<Pt> original = pts;
  const double before = relief::detail::TwiceSignedArea(relief::detail::WithoutRepeats(pts));
  if (!MitreOffset(pts, -static_cast<double>(distance))) return;
  const double after = relief::detail::TwiceSignedArea(relief::detail::WithoutRepeats(pts));
  // Eroded past its inner width the contour turns inside out (its area
  // changes sign or vanishes, or, for a convex one, every edge turns round
  // while the area keeps its sign): nothing is left.
  if (!(after * before > 0.0) || EveryEdgeReversed(original, pts)) pts.clear();
  relief::detail::WritePoints(*this, pts);
}
