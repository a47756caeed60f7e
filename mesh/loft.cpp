// The loft between two closed rings, and the two-polygon constructors'
// builder on top of it.

#include "mesh/loft.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "relief/CSSE3dPolygon.h"

namespace relief::detail {

namespace {

struct Normal {
  double x, y, z;
};

// Newell's area normal of a closed ring (twice the vector area).
Normal AreaNormal(const std::vector<SSEPoint>& r) {
  Normal n{0, 0, 0};
  for (std::size_t i = 0, k = r.size() - 1; i < r.size(); k = i++) {
    const SSEPoint &p = r[k], &q = r[i];
    n.x += (double(p.y) - q.y) * (double(p.z) + q.z);
    n.y += (double(p.z) - q.z) * (double(p.x) + q.x);
    n.z += (double(p.x) - q.x) * (double(p.y) + q.y);
  }
  return n;
}

double Distance(const SSEPoint& p, const SSEPoint& q) {
  const double dx = double(p.x) - q.x, dy = double(p.y) - q.y, dz = double(p.z) - q.z;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// Cumulative arc length at every point and back at the start, divided by
// the ring's length (evenly spaced when the ring has no length).
std::vector<double> ArcParameters(const std::vector<SSEPoint>& r) {
  const std::size_t n = r.size();
  std::vector<double> t(n + 1, 0.0);
  for (std::size_t i = 1; i <= n; ++i) t[i] = t[i - 1] + Distance(r[i - 1], r[i % n]);
  const double total = t[n];
  for (std::size_t i = 0; i <= n; ++i) t[i] = total > 0.0 && std::isfinite(total) ? t[i] / total : double(i) / n;
  return t;
}

void PutTriangle(std::vector<SSEPoint>& out, const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  out.push_back(a);
  out.push_back(b);
  out.push_back(c);
}

}  // namespace

std::vector<SSEPoint> RingOfPolygon(const CSSE3dPolygon& polygon, int step) {
  if (step < 1) step = 1;
  std::vector<SSEPoint> ring;
  for (int i = 0; i < polygon.GetNumPoints(); i += step) {
    SSEPoint p;
    polygon.GetPointSSE(i, p);
    ring.push_back(p);
    if (i > polygon.GetNumPoints() - 1 - step) break;  // no overflow of i + step
  }
  return ring;
}

void OrientLike(const std::vector<SSEPoint>& a, std::vector<SSEPoint>& b) {
  if (a.size() < 3 || b.size() < 3) return;
  const Normal na = AreaNormal(a), nb = AreaNormal(b);
  if (na.x * nb.x + na.y * nb.y + na.z * nb.z < 0.0) std::reverse(b.begin(), b.end());
  std::size_t nearest = 0;
  double best = HUGE_VAL;
  for (std::size_t j = 0; j < b.size(); ++j) {
    const double d = Distance(a[0], b[j]);
    if (d < best) best = d, nearest = j;  // the first of equals
  }
  std::rotate(b.begin(), b.begin() + nearest, b.end());
}

void LoftBand(const std::vector<SSEPoint>& a, const std::vector<SSEPoint>& b, std::vector<SSEPoint>& out) {
  const std::size_t n = a.size(), m = b.size();
  if (n < 3 || m < 3) return;
  const std::vector<double> ta = ArcParameters(a), tb = ArcParameters(b);
  out.reserve(out.size() + 3 * (n + m));
  std::size_t i = 0, j = 0;
  while (i < n || j < m) {
    // Advance on a when its next point comes no later than b's (or b is done).
    if (i < n && (j == m || ta[i + 1] <= tb[j + 1])) {
      PutTriangle(out, a[i], a[(i + 1) % n], b[j % m]);
      ++i;
    } else {
      PutTriangle(out, a[i % n], b[(j + 1) % m], b[j]);
      ++j;
    }
  }
}

void RingCap(const std::vector<SSEPoint>& ring, bool againstRing, std::vector<SSEPoint>& out) {
  const std::size_t n = ring.size();
  if (n < 3) return;
  double sx = 0, sy = 0, sz = 0;
  for (const SSEPoint& p : ring) sx += p.x, sy += p.y, sz += p.z;
  SSEPoint c;
  c.x = float(sx / n), c.y = float(sy / n), c.z = float(sz / n), c.w = 0.0f;
  for (std::size_t i = 0; i < n; ++i) {
    const SSEPoint &p = ring[i], &q = ring[(i + 1) % n];
    if (againstRing)
      PutTriangle(out, q, p, c);
    else
      PutTriangle(out, p, q, c);
  }
}

void ReverseTriangles(std::vector<SSEPoint>& corners, std::size_t from) {
  for (std::size_t k = from; k + 2 < corners.size(); k += 3) std::swap(corners[k], corners[k + 2]);
}

void FillCorners(CHTriangulation& m, const std::vector<SSEPoint>& corners) {
  const int n = static_cast<int>(corners.size() / 3);
  m.CreateTriangulation(n);
  if (n > 0) std::memcpy(static_cast<void*>(m.EdgeArray), corners.data(), sizeof(SSEPoint) * 3 * std::size_t(n));
}

}  // namespace relief::detail

namespace relief::detail {

void LoftPolygons(CHTriangulation& m, CSSE3dPolygon* first, CSSE3dPolygon* second, int step, bool flip,
                  bool closeEnds) {
  if (!first || !second) {
    m.FreeTriangulation();
    return;
  }
  const std::vector<SSEPoint> a = RingOfPolygon(*first, step);
  std::vector<SSEPoint> b = RingOfPolygon(*second, step);
  std::vector<SSEPoint> corners;
  if (a.size() >= 3 && b.size() >= 3) {
    OrientLike(a, b);
    LoftBand(a, b, corners);
    if (closeEnds) {
      RingCap(a, true, corners);
      RingCap(b, false, corners);
    }
    if (flip) ReverseTriangles(corners, 0);
  }
  FillCorners(m, corners);
}

}  // namespace relief::detail
