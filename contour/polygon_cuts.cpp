// CSSE3dPolygon: the four half-plane cuts (one clipping pass of the closed
// polygon against an axis-parallel line).

#include <cmath>
#include <vector>

#include "planar_points.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::Pt;

namespace {

// Keeps the part where sign * (coordinate - limit) >= 0, coordinate x or y.
std::vector<Pt> ClipHalfPlane(const std::vector<Pt>& pts, bool alongX, double limit, double sign) {
  const std::size_t n = pts.size();
  auto side = [&](const Pt& p) { return sign * ((alongX ? p.x : p.y) - limit); };
  std::vector<Pt> out;
  out.reserve(n + 4);
  for (std::size_t i = 0; i < n; ++i) {
    const Pt &a = pts[i], &b = pts[(i + 1) % n];
    const double sa = side(a), sb = side(b);
    if (sa >= 0) out.push_back(a);
    // A new point only where the edge crosses strictly; an end on the line is
    // kept as it is.
    if ((sa > 0 && sb < 0) || (sa < 0 && sb > 0)) {
      const double t = sa / (sa - sb);
      Pt c{a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
      (alongX ? c.x : c.y) = limit;
      out.push_back(c);
    }
  }
  if (out.size() < 3) out.clear();
  return out;
}

}  // namespace

static void Cut(CSSE3dPolygon& poly, bool alongX, float limit, double sign) {
  if (std::isnan(limit) || poly.GetNumPoints() == 0) return;
  relief::detail::WritePoints(poly, ClipHalfPlane(relief::detail::ReadPoints(poly), alongX, limit, sign));
}

void CSSE3dPolygon::CutAwayBelowX(float limit) { Cut(*this, true, limit, 1.0); }
void CSSE3dPolygon::CutAwayAboveX(float limit) { Cut(*this, true, limit, -1.0); }
void CSSE3dPolygon::CutAwayBelowY(float limit) { Cut(*this, false, limit, 1.0); }
void CSSE3dPolygon::CutAwayAboveY(float limit) { Cut(*this, false, limit, -1.0); }
