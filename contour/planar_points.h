#pragma once

// Double-precision point lists shared by the polygon's shape operations.

#include <cmath>
#include <vector>

#include "relief/CSSE3dPolygon.h"

namespace relief::detail {

struct Pt {
  double x, y, z;
};

inline std::vector<Pt> ReadPoints(const CSSE3dPolygon& poly) {
  std::vector<Pt> pts(poly.GetNumPoints());
  const float *x = poly.GetXArray(), *y = poly.GetYArray(), *z = poly.GetZArray();
  for (int i = 0; i < poly.GetNumPoints(); ++i) pts[i] = {x[i], y[i], z[i]};
  return pts;
}

inline void WritePoints(CSSE3dPolygon& poly, const std::vector<Pt>& pts) {
  if (pts.empty()) {
    poly.Free();
    return;
  }
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i)
    poly.SetPoint(i, static_cast<float>(pts[i].x), static_cast<float>(pts[i].y), static_cast<float>(pts[i].z));
}

// The closed sequence without points equal in x and y to their predecessor
// (the last point compared with the first too).
inline std::vector<Pt> WithoutRepeats(const std::vector<Pt>& pts) {
  std::vector<Pt> out;
  out.reserve(pts.size());
  for (const Pt& p : pts)
    if (out.empty() || p.x != out.back().x || p.y != out.back().y) out.push_back(p);
  while (out.size() > 1 && out.back().x == out.front().x && out.back().y == out.front().y) out.pop_back();
  return out;
}

// Twice the signed x-y area (positive counter-clockwise in the x-y frame).
inline double TwiceSignedArea(const std::vector<Pt>& pts) {
  double sum = 0.0;
  const std::size_t n = pts.size();
  for (std::size_t i = 0; i < n; ++i) {
    const Pt &a = pts[i], &b = pts[(i + 1) % n];
    sum += a.x * b.y - b.x * a.y;
  }
  return sum;
}

inline bool AllFinite(const std::vector<Pt>& pts) {
  for (const Pt& p : pts)
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  return true;
}

}  // namespace relief::detail
