// CSSE3dPolygon: index rotation, z levelling and smoothing, and the operations
// that fit one contour to another (pulling towards it, matching for a loft).

#include <cmath>
#include <vector>

#include "planar_points.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::Pt;

void CSSE3dPolygon::RotateIndices(int k) {
  const int n = m_nNumPoints;
  if (n == 0) return;
  const int shift = static_cast<int>(((static_cast<long long>(k) % n) + n) % n);
  if (shift == 0) return;
  const std::vector<Pt> pts = relief::detail::ReadPoints(*this);
  for (int j = 0; j < n; ++j) {
    const Pt& p = pts[(j + shift) % n];
    SetPoint(j, static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z));
  }
}

namespace {

// The smallest (lowest) or largest z, NaN ignored; false when there is none.
bool ExtremeZ(const float* z, int n, bool lowest, float& out) {
  bool found = false;
  for (int i = 0; i < n; ++i) {
    if (std::isnan(z[i])) continue;
    if (!found || (lowest ? z[i] < out : z[i] > out)) out = z[i];
    found = true;
  }
  return found;
}

}  // namespace

void CSSE3dPolygon::AdaptToLowestZValue() {
  float z = 0.0f;
  if (ExtremeZ(m_pZ, m_nNumPoints, true, z)) SetAllZValues(z);
}

void CSSE3dPolygon::AdaptToHighestZValue() {
  float z = 0.0f;
  if (ExtremeZ(m_pZ, m_nNumPoints, false, z)) SetAllZValues(z);
}

void CSSE3dPolygon::FilterZValues(int halfWidth) {
  const int n = m_nNumPoints;
  if (halfWidth <= 0 || n == 0) return;
  std::vector<double> z(m_pZ, m_pZ + n);
  if (2LL * halfWidth + 1 >= n) {
    double sum = 0.0;
    for (double v : z) sum += v;
    SetAllZValues(static_cast<float>(sum / n));
    return;
  }
  // Sliding window over the closed sequence.
  double sum = 0.0;
  for (int k = -halfWidth; k <= halfWidth; ++k) sum += z[(k + n) % n];
  const double width = 2.0 * halfWidth + 1.0;
  for (int i = 0; i < n; ++i) {
    SetPointZ(i, static_cast<float>(sum / width));
    sum += z[(i + halfWidth + 1) % n] - z[(i - halfWidth + n) % n];
  }
}

namespace {

// The point of segment ab nearest p (3D).
Pt NearestOnSegment(const Pt& p, const Pt& a, const Pt& b) {
  const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z;
  const double len2 = ux * ux + uy * uy + uz * uz;
  double t = len2 > 0 ? ((p.x - a.x) * ux + (p.y - a.y) * uy + (p.z - a.z) * uz) / len2 : 0.0;
  t = t < 0 ? 0 : (t > 1 ? 1 : t);
  return {a.x + t * ux, a.y + t * uy, a.z + t * uz};
}

double Dist2(const Pt& a, const Pt& b) {
  const double dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
  return dx * dx + dy * dy + dz * dz;
}

// count points at equal 3D arc length along the closed polygon from point 0.
std::vector<Pt> ResampleClosed(const std::vector<Pt>& pts, int count) {
  const std::size_t n = pts.size();
  std::vector<double> along(n + 1, 0.0);
  for (std::size_t i = 0; i < n; ++i) along[i + 1] = along[i] + std::sqrt(Dist2(pts[i], pts[(i + 1) % n]));
  const double total = along[n];
  std::vector<Pt> out(count);
  std::size_t edge = 0;
  for (int k = 0; k < count; ++k) {
    const double s = total * k / count;
    while (edge + 1 < n && along[edge + 1] <= s) ++edge;
    const Pt &a = pts[edge], &b = pts[(edge + 1) % n];
    const double len = along[edge + 1] - along[edge];
    const double t = len > 0 ? (s - along[edge]) / len : 0.0;
    out[k] = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
  }
  return out;
}

}  // namespace

void CSSE3dPolygon::MoveTowardsPolygon(CSSE3dPolygon& other, float fraction) {
  if (std::isnan(fraction) || other.GetNumPoints() == 0 || m_nNumPoints == 0) return;
  const double f = fraction < 0 ? 0.0 : (fraction > 1 ? 1.0 : fraction);
  const std::vector<Pt> target = relief::detail::ReadPoints(other);
  const std::size_t m = target.size();
  for (int i = 0; i < m_nNumPoints; ++i) {
    const Pt p{m_pX[i], m_pY[i], m_pZ[i]};
    Pt best = target[0];
    double bestD = Dist2(p, best);
    for (std::size_t j = 0; m > 1 && j < m; ++j) {
      const Pt q = NearestOnSegment(p, target[j], target[(j + 1) % m]);
      const double d = Dist2(p, q);
      if (d < bestD) best = q, bestD = d;
    }
    SetPoint(i, static_cast<float>(p.x + f * (best.x - p.x)), static_cast<float>(p.y + f * (best.y - p.y)),
             static_cast<float>(p.z + f * (best.z - p.z)));
  }
}

void CSSE3dPolygon::AdaptPolygons(CSSE3dPolygon& other) {
  if (m_nNumPoints < 2 || other.GetNumPoints() < 2) return;
  const int count = m_nNumPoints > other.GetNumPoints() ? m_nNumPoints : other.GetNumPoints();
  const std::vector<Pt> mine = ResampleClosed(relief::detail::ReadPoints(*this), count);
  std::vector<Pt> theirs = relief::detail::ReadPoints(other);
  const double a = relief::detail::TwiceSignedArea(mine), b = relief::detail::TwiceSignedArea(theirs);
  if (a * b < 0) std::vector<Pt>(theirs.rbegin(), theirs.rend()).swap(theirs);
  // Start other at its vertex nearest our start, then resample from there.
  std::size_t start = 0;
  double best = -1.0;
  for (std::size_t j = 0; j < theirs.size(); ++j) {
    const double dx = theirs[j].x - mine[0].x, dy = theirs[j].y - mine[0].y, d = dx * dx + dy * dy;
    if (best < 0 || d < best) best = d, start = j;
  }
  std::vector<Pt> rotated(theirs.begin() + start, theirs.end());
  rotated.insert(rotated.end(), theirs.begin(), theirs.begin() + start);
  relief::detail::WritePoints(*this, mine);
  relief::detail::WritePoints(other, ResampleClosed(rotated, count));
}
