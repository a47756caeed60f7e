// CHTriangulation whole-mesh transforms: scaling, blowing, shifting, rotations.

#include <emmintrin.h>

#include <cmath>

#include "relief/CHTriangulation.h"
#include "relief/CSSEFns.h"

namespace {

// Applies op(__m128) -> __m128 to every corner of the mesh.
template <class Op>
void ForEachCorner(CHTriangulation& m, Op op) {
  const int corners = 3 * m.NumTriangles;
  for (int i = 0; i < corners; ++i) m.EdgeArray[i].m = op(m.EdgeArray[i].m);
}

void MultiplyCorners(CHTriangulation& m, float fx, float fy, float fz) {
  // The zero in lane 3 makes every w 0 whatever it held.
  const __m128 f = _mm_set_ps(0.0f, fz, fy, fx);
  ForEachCorner(m, [f](__m128 p) { return _mm_mul_ps(p, f); });
}

// A 3x3 rotation in double precision, rounded once into the register form.
struct Rotation {
  double r[3][3];
};

Rotation TwoAngleRotation(float a, float b) {
  const double ca = std::cos(static_cast<double>(a)), sa = std::sin(static_cast<double>(a));
  const double cb = std::cos(static_cast<double>(b)), sb = std::sin(static_cast<double>(b));
  return {{{ca * cb, sa, ca * sb}, {-sa * cb, ca, -sa * sb}, {-sb, 0.0, cb}}};
}

// The two-angle rotation followed by a turn of c about the z axis.
Rotation ThreeAngleRotation(float a, float b, float c) {
  const Rotation ab = TwoAngleRotation(a, b);
  const double cc = std::cos(static_cast<double>(c)), sc = std::sin(static_cast<double>(c));
  const double z[3][3] = {{cc, -sc, 0.0}, {sc, cc, 0.0}, {0.0, 0.0, 1.0}};
  Rotation out{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) out.r[i][j] += z[i][k] * ab.r[k][j];
  return out;
}

t_ssematrix3 ToMatrix(const Rotation& r) {
  t_ssematrix3 m;
  for (int i = 0; i < 3; ++i)
    m.row[i] = _mm_set_ps(0.0f, static_cast<float>(r.r[i][2]), static_cast<float>(r.r[i][1]),
                          static_cast<float>(r.r[i][0]));
  return m;
}

void Rotate(CHTriangulation& mesh, const Rotation& r) {
  const t_ssematrix3 m = ToMatrix(r);
  ForEachCorner(mesh, [&m](__m128 p) { return CSSEFns::transform(p, m); });
  mesh.CalcBoundingBox();
  mesh.CalcSTV();
}

void RotateAbout(CHTriangulation& mesh, const Rotation& r, const SSEPoint& centre) {
  const t_ssematrix3 m = ToMatrix(r);
  const __m128 c = centre.m;
  ForEachCorner(mesh, [&m, c](__m128 p) { return _mm_add_ps(CSSEFns::transform(_mm_sub_ps(p, c), m), c); });
  mesh.CalcBoundingBox();
  mesh.CalcSTV();
}

}  // namespace

void CHTriangulation::ScaleTriangulation() { MultiplyCorners(*this, ScaleX, ScaleY, ScaleZ); }

void CHTriangulation::ScaleTriangulationXY() { MultiplyCorners(*this, ScaleX, ScaleY, 1.0f); }

void CHTriangulation::ReScaleTriangulation(float sx, float sy, float sz) {
  ScaleX = sx;
  ScaleY = sy;
  ScaleZ = sz;
  ScaleTriangulation();
  CalcBoundingBox();
  CalcSTV();
}

void CHTriangulation::BlowTriangulation(float fx, float fy, float fz) {
  MultiplyCorners(*this, fx, fy, fz);
  CalcBoundingBox();
  CalcSTV();
}

void CHTriangulation::ShiftTriangulation(float dx, float dy, float dz) {
  const __m128 d = _mm_set_ps(0.0f, dz, dy, dx);
  ForEachCorner(*this, [d](__m128 p) { return _mm_add_ps(p, d); });
  // The extremes move with the corners, so they stay valid without CalcSTV.
  for (int i = 0; i < NumTriangles; ++i) {
    MinPointArray[i].m = _mm_add_ps(MinPointArray[i].m, d);
    MaxPointArray[i].m = _mm_add_ps(MaxPointArray[i].m, d);
  }
}

void CHTriangulation::TransformVertices(float a, float b) { Rotate(*this, TwoAngleRotation(a, b)); }

void CHTriangulation::TransformVerticesAboutPoint(float a, float b, SSEPoint& centre) {
  RotateAbout(*this, TwoAngleRotation(a, b), centre);
}

void CHTriangulation::TransformVertices(float a, float b, float c) { Rotate(*this, ThreeAngleRotation(a, b, c)); }

void CHTriangulation::TransformVerticesAboutPoint(float a, float b, float c, SSEPoint& centre) {
  RotateAbout(*this, ThreeAngleRotation(a, b, c), centre);
}
