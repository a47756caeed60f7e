#pragma once

// The fast route's visibility test: every face keeps its plane in doubles
// next to its record, every waiting vertex its coordinates in a flat array,
// so that a test reads two small blocks instead of four scattered vertex
// records, and a bound on the rounding tells when the double result can be
// trusted. Uncertain cases are decided by the exact 128-bit volume, so the
// answer is always the exact one and the hull is the plain route's hull.

#include <cmath>
#include <cstdint>

#include "relief/CHConvexHull3D.h"
#include "triangulation/hull3d_detail.h"

namespace relief::detail {

// Plane of the face a, b, c: corner a, normal n = (b - a) x (c - a) as
// rounded, and per-axis coefficients k with |n . w - fl(n . w)| <= k . |w|
// for every integer w = q - a (see MakeHullPlane).
struct HullPlane {
  double ax, ay, az;
  double nx, ny, nz;
  double kx, ky, kz;
};

// Face records are made with their plane behind them while the hull grows
// (CompactRecords moves the finished hull's faces into plain records).
struct HullFaceRecord {
  tFaceStructure face;
  HullPlane plane;
};

inline HullPlane& PlaneOf(tFaceStructure* f) { return reinterpret_cast<HullFaceRecord*>(f)->plane; }

// Coordinates relative to an integer origin near the middle of the input.
// Every translated coordinate is kept within 2^50, so the coordinates, their
// differences (2^51) and the conversions are exact in double.
constexpr std::int64_t kHullFrameLimit = std::int64_t(1) << 50;

struct HullFrame {
  std::int64_t ox = 0, oy = 0, oz = 0;

  void Translate(const tVertexStructure* v, double& x, double& y, double& z) const {
    x = static_cast<double>(v->x - ox);
    y = static_cast<double>(v->y - oy);
    z = static_cast<double>(v->z - oz);
  }
};

// Error bound of the rounded normal and the rounded dot product. With u, v
// and w exact, each normal component carries at most 2 eps (|u_i v_j| +
// |u_j v_i|) (two rounded products and their rounded difference) and the
// dot product adds at most gamma_3 sum |n_i w_i|, gamma_3 < 3.01 eps. The
// coefficient 4 eps (products + |n_i|) covers both, with room for the
// rounding of the bound's own evaluation (eps = 2^-53; values are integers
// or sums of them, so nothing underflows).
inline void MakeHullPlane(const HullFrame& frame, const tFaceStructure* f, HullPlane& pl) {
  double a[3], b[3], c[3];
  frame.Translate(f->vertex[0], a[0], a[1], a[2]);
  frame.Translate(f->vertex[1], b[0], b[1], b[2]);
  frame.Translate(f->vertex[2], c[0], c[1], c[2]);
  const double ux = b[0] - a[0], uy = b[1] - a[1], uz = b[2] - a[2];
  const double vx = c[0] - a[0], vy = c[1] - a[1], vz = c[2] - a[2];
  const double x1 = uy * vz, x2 = uz * vy, y1 = uz * vx, y2 = ux * vz, z1 = ux * vy, z2 = uy * vx;
  pl.ax = a[0];
  pl.ay = a[1];
  pl.az = a[2];
  pl.nx = x1 - x2;
  pl.ny = y1 - y2;
  pl.nz = z1 - z2;
  constexpr double k4eps = 4.0 / 9007199254740992.0;  // 4 * 2^-53
  pl.kx = k4eps * ((std::fabs(x1) + std::fabs(x2)) + std::fabs(pl.nx));
  pl.ky = k4eps * ((std::fabs(y1) + std::fabs(y2)) + std::fabs(pl.ny));
  pl.kz = k4eps * ((std::fabs(z1) + std::fabs(z2)) + std::fabs(pl.nz));
}

// Whether q (translated coordinates qx, qy, qz) sees the face from outside,
// i.e. VolumeSign(f, q) < 0, i.e. n . (q - a) > 0: 1 yes, 0 no, -1 when the
// rounding leaves it open and the exact volume has to decide.
inline int HullPlaneSees(tFaceStructure* f, double qx, double qy, double qz) {
  const HullPlane& pl = PlaneOf(f);
  const double wx = qx - pl.ax, wy = qy - pl.ay, wz = qz - pl.az;
  const double d = (pl.nx * wx + pl.ny * wy) + pl.nz * wz;
  const double bound = (pl.kx * std::fabs(wx) + pl.ky * std::fabs(wy)) + pl.kz * std::fabs(wz);
  if (d > bound) return 1;
  if (d < -bound) return 0;
  return -1;
}

}  // namespace relief::detail
