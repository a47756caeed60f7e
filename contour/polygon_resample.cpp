// CSSE3dPolygon: resampling (densify long edges, subsample, drop repeated
// points, reproducible noise).

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <unordered_map>
#include <utility>
#include <vector>

#include "relief/CSSE3dPolygon.h"

namespace {

// The rebuilt contour never exceeds this many points (the working buffer holds
// one more as a guard).
constexpr int kMaxResampledPoints = 99999;

struct Point3 {
  float x, y, z;
};

}  // namespace

void CSSE3dPolygon::ReParametrizeImpl(float spacing, bool closed, bool withZ) {
  const int n = m_nNumPoints;
  if (n < 1 || !(spacing > 0.0f)) return;
  std::vector<Point3> out;
  out.reserve(n < kMaxResampledPoints ? n : kMaxResampledPoints);
  const int edges = closed ? n : n - 1;
  auto full = [&] { return static_cast<int>(out.size()) >= kMaxResampledPoints; };
  for (int i = 0; i < n && !full(); ++i) {
    const Point3 p{m_pX[i], m_pY[i], m_pZ[i]};
    out.push_back(p);
    if (i >= edges) continue;
    const int j = (i + 1) % n;
    const float dx = m_pX[j] - p.x, dy = m_pY[j] - p.y, dz = m_pZ[j] - p.z;
    const float ax = std::fabs(dx), ay = std::fabs(dy), az = withZ ? std::fabs(dz) : 0.0f;
    // "Long" is decided per axis, not by the Euclidean length, so a diagonal
    // edge of length spacing * sqrt(2) is not split.
    if (!(ax > spacing || ay > spacing || az > spacing)) continue;
    const double longest = std::fmax(std::fmax(ax, ay), az);
    const double count = std::floor(longest / spacing);
    // Points at k / (N + 0.5) of the edge leave a half step before the next
    // vertex, so consecutive edges do not put two points side by side.
    const int extra = count < kMaxResampledPoints ? static_cast<int>(count) : kMaxResampledPoints;
    const double step = 1.0 / (extra + 0.5);
    for (int k = 1; k <= extra && !full(); ++k) {
      const double t = k * step;
      out.push_back({static_cast<float>(p.x + t * dx), static_cast<float>(p.y + t * dy),
                     static_cast<float>(p.z + t * dz)});
    }
  }
  Create(static_cast<int>(out.size()));
  for (int i = 0; i < m_nNumPoints; ++i) SetPoint(i, out[i].x, out[i].y, out[i].z);
}

void CSSE3dPolygon::ReParametrize(float spacing) { ReParametrizeImpl(spacing, true, false); }

void CSSE3dPolygon::ReParametrizeOpen(float spacing) { ReParametrizeImpl(spacing, false, false); }

void CSSE3dPolygon::ReParametrizeXYZ(float spacing) { ReParametrizeImpl(spacing, true, true); }

void CSSE3dPolygon::ResortAndSubsample(int step) {
  const int n = m_nNumPoints;
  if (n > 2) {
    std::vector<Point3> rest(n);
    for (int i = 0; i < n; ++i) rest[i] = {m_pX[i], m_pY[i], m_pZ[i]};
    std::vector<float> ordered;
    ordered.reserve(3 * static_cast<std::size_t>(n));
    // rest[0 .. left) holds the points not yet taken; the last taken is kept
    // aside. Swapping the chosen point to the end keeps the scan contiguous;
    // the first minimum in the original order wins ties, so remember indices.
    std::vector<int> index(n);
    for (int i = 0; i < n; ++i) index[i] = i;
    Point3 last = rest[0];
    ordered.insert(ordered.end(), {last.x, last.y, last.z});
    int left = n - 1;
    std::swap(rest[0], rest[left]);
    std::swap(index[0], index[left]);
    while (left > 0) {
      int best = 0;
      double bestD = 0.0;
      for (int i = 0; i < left; ++i) {
        const double dx = static_cast<double>(rest[i].x) - last.x, dy = static_cast<double>(rest[i].y) - last.y;
        const double d = dx * dx + dy * dy;
        if (i == 0 || d < bestD || (d == bestD && index[i] < index[best])) best = i, bestD = d;
      }
      last = rest[best];
      ordered.insert(ordered.end(), {last.x, last.y, last.z});
      --left;
      std::swap(rest[best], rest[left]);
      std::swap(index[best], index[left]);
    }
    AssignPoints(ordered.data(), n);
  }
  Subsample(step);
}

void CSSE3dPolygon::AssignPoints(const float* xyz, int count) {
  Create(count);
  for (int i = 0; i < count; ++i) SetPoint(i, xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
}

void CSSE3dPolygon::Subsample(int step) {
  if (step <= 1 || m_nNumPoints <= 0) return;
  const int kept = (m_nNumPoints + step - 1) / step;
  std::vector<Point3> out(kept);
  for (int k = 0; k < kept; ++k) out[k] = {m_pX[k * step], m_pY[k * step], m_pZ[k * step]};
  Create(kept);
  for (int k = 0; k < kept; ++k) SetPoint(k, out[k].x, out[k].y, out[k].z);
}

void CSSE3dPolygon::RemoveEqualPointsXY() {
  const int n = m_nNumPoints;
  if (n <= 1) return;
  // Kept points are filed in unit cells, so a candidate only has to be
  // compared with the kept points of its 3 x 3 cell neighbourhood: a point
  // within 1.0 on both axes lies in one of those cells. Keys saturate for
  // huge coordinates; the exact comparison still decides.
  auto cell = [](float v) -> std::int64_t {
    const double f = std::floor(static_cast<double>(v));
    if (f < -1e15) return -1000000000000000LL;
    if (f > 1e15) return 1000000000000000LL;
    return static_cast<std::int64_t>(f);
  };
  auto key = [](std::int64_t cx, std::int64_t cy) {
    return static_cast<std::uint64_t>(cx) * 0x9E3779B97F4A7C15ULL ^ static_cast<std::uint64_t>(cy);
  };
  std::unordered_multimap<std::uint64_t, int> grid;
  grid.reserve(2 * static_cast<std::size_t>(n));
  std::vector<Point3> kept;
  kept.reserve(n);
  for (int i = 0; i < n; ++i) {
    const float x = m_pX[i], y = m_pY[i];
    bool repeated = false;
    if (std::isfinite(x) && std::isfinite(y)) {
      const std::int64_t cx = cell(x), cy = cell(y);
      for (std::int64_t gx = cx - 1; gx <= cx + 1 && !repeated; ++gx)
        for (std::int64_t gy = cy - 1; gy <= cy + 1 && !repeated; ++gy) {
          auto range = grid.equal_range(key(gx, gy));
          for (auto it = range.first; it != range.second; ++it) {
            const Point3& k = kept[it->second];
            if (std::fabs(x - k.x) < 1.0f && std::fabs(y - k.y) < 1.0f) {
              repeated = true;
              break;
            }
          }
        }
      if (!repeated) grid.emplace(key(cx, cy), static_cast<int>(kept.size()));
    }
    // A point with a non-finite coordinate is within 1.0 of nothing: kept.
    if (!repeated) kept.push_back({x, y, m_pZ[i]});
  }
  if (static_cast<int>(kept.size()) == n) return;
  Create(static_cast<int>(kept.size()));
  for (int i = 0; i < m_nNumPoints; ++i) SetPoint(i, kept[i].x, kept[i].y, kept[i].z);
}

void CSSE3dPolygon::AddNoiseXY(float amplitude) {
  // Reseeded on every call so that the same contour always receives the same
  // noise (tests and repeated runs compare results).
  std::srand(43211);
  for (int i = 0; i < m_nNumPoints; ++i) {
    const float ux = static_cast<float>(std::rand()) / static_cast<float>(RAND_MAX);
    const float uy = static_cast<float>(std::rand()) / static_cast<float>(RAND_MAX);
    SetPointXY(i, m_pX[i] + amplitude * (2.0f * ux - 1.0f), m_pY[i] + amplitude * (2.0f * uy - 1.0f));
  }
  m_bBoundingBoxCalculated = false;
}
