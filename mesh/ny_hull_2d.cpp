// The x/y convex hull of a mesh's corners.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "relief/CHTriangulation.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/TaNyTriangulationTo2DHull.h"

namespace {

double Turn(const SSEPoint& o, const SSEPoint& a, const SSEPoint& b) {
  return (static_cast<double>(a.x) - o.x) * (static_cast<double>(b.y) - o.y) -
         (static_cast<double>(a.y) - o.y) * (static_cast<double>(b.x) - o.x);
}

}  // namespace

// Monotone chain over the corners sorted by x, then y; a corner is kept only
// on a strict left turn, so collinear and repeated corners drop out.
int TaNyTriangulationTo2DHull::CalcHull(CHTriangulation* mesh) {
  m_Hull.clear();
  if (!mesh || mesh->GetNumTriangles() <= 0 || !mesh->GetEdgeArray()) return 0;
  const SSEPoint* corners = mesh->GetEdgeArray();
  std::vector<SSEPoint> points(corners, corners + 3 * static_cast<std::size_t>(mesh->GetNumTriangles()));
  // Stable: among equal positions the first corner met stays first and survives.
  std::stable_sort(points.begin(), points.end(),
                   [](const SSEPoint& a, const SSEPoint& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; });
  points.erase(std::unique(points.begin(), points.end(),
                           [](const SSEPoint& a, const SSEPoint& b) { return a.x == b.x && a.y == b.y; }),
               points.end());
  for (SSEPoint& p : points) p.w = 0.0f;
  if (points.size() < 3) {
    m_Hull = points;
    return GetNumPoints();
  }
  std::vector<SSEPoint> hull(2 * points.size());
  std::size_t k = 0;
  for (const SSEPoint& p : points) {  // lower chain
    while (k >= 2 && Turn(hull[k - 2], hull[k - 1], p) <= 0.0) --k;
    hull[k++] = p;
  }
  const std::size_t lower = k + 1;
  for (std::size_t i = points.size() - 1; i-- > 0;) {  // upper chain
    while (k >= lower && Turn(hull[k - 2], hull[k - 1], points[i]) <= 0.0) --k;
    hull[k++] = points[i];
  }
  hull.resize(k - 1);  // the last point repeats the first
  m_Hull = std::move(hull);
  return GetNumPoints();
}

int TaNyTriangulationTo2DHull::CalcHull(NyTriangulationStatic*) {
  m_Hull.clear();
  return 0;
}

int TaNyTriangulationTo2DHull::CalcHull(NyTriangulationDynamic*) {
  m_Hull.clear();
  return 0;
}

SSEPoint TaNyTriangulationTo2DHull::GetPoint(int i) const {
  SSEPoint p;
  p.m = _mm_setzero_ps();
  if (i >= 0 && i < GetNumPoints()) p = m_Hull[static_cast<std::size_t>(i)];
  return p;
}

void TaNyTriangulationTo2DHull::ObtainHull(CSSE3dPolygon* out) const {
  if (!out) return;
  out->Create(GetNumPoints());
  for (int i = 0; i < GetNumPoints(); ++i) {
    const SSEPoint& p = m_Hull[static_cast<std::size_t>(i)];
    out->SetPoint(i, p.x, p.y, p.z);
  }
}

bool TaNyTriangulationTo2DHull::PointInHull(float x, float y) const {
  if (m_Hull.size() < 3) return false;
  SSEPoint q;
  q.m = _mm_setr_ps(x, y, 0.0f, 0.0f);
  for (std::size_t i = 0; i < m_Hull.size(); ++i)
    if (Turn(m_Hull[i], m_Hull[(i + 1) % m_Hull.size()], q) < 0.0) return false;
  return true;
}
