// CSSE3dPolygon: point-wise geometric transforms.

#include <emmintrin.h>

#include <cmath>

#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEFns.h"

namespace {

// sin and cos in double, rounded to float before any matrix product, so the
// matrices do not depend on the float library's own sine.
struct Angle {
  float s, c;
  explicit Angle(float a)
      : s(static_cast<float>(std::sin(static_cast<double>(a)))),
        c(static_cast<float>(std::cos(static_cast<double>(a)))) {}
};

t_ssematrix3 Rows(float a0, float a1, float a2, float b0, float b1, float b2, float c0, float c1, float c2) {
  t_ssematrix3 m;
  m.row[0] = _mm_setr_ps(a0, a1, a2, 0.0f);
  m.row[1] = _mm_setr_ps(b0, b1, b2, 0.0f);
  m.row[2] = _mm_setr_ps(c0, c1, c2, 0.0f);
  return m;
}

// (ca cb, -sa, -sa cb), (sa cb, ca, -sa sb), (sb, 0, cb): not orthogonal for
// b != 0; the contours built on it expect exactly this shear.
t_ssematrix3 VertexMatrix(float a, float b) {
  const Angle A(a), B(b);
  return Rows(A.c * B.c, -A.s, -A.s * B.c,  //
              A.s * B.c, A.c, -A.s * B.s,   //
              B.s, 0.0f, B.c);
}

}  // namespace

// Reads every point as (x, y, z, 0), maps it and writes x, y, z back through
// the setter (which clears the box flag).
template <class Map>
static void MapPoints(CSSE3dPolygon& poly, Map map) {
  const int n = poly.GetNumPoints();
  for (int i = 0; i < n; ++i) {
    SSEPoint p;
    poly.GetPointSSE(i, p);
    SSEPoint q;
    q.m = map(p.m);
    poly.SetPoint(i, q.x, q.y, q.z);
  }
}

void CSSE3dPolygon::ShiftLine(float dx, float dy, float dz) {
  const __m128 d = _mm_setr_ps(dx, dy, dz, 0.0f);
  MapPoints(*this, [&](__m128 p) { return _mm_add_ps(p, d); });
  CalcBoundingBox();
}

void CSSE3dPolygon::BlowLine(float sx, float sy, float sz, bool reparametrize) {
  const __m128 s = _mm_setr_ps(sx, sy, sz, 0.0f);
  MapPoints(*this, [&](__m128 p) { return _mm_mul_ps(p, s); });
  if (reparametrize) ReParametrize(0.6f);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::BlowLineAroundCenter(float sx, float sy, float sz, bool reparametrize) {
  CalcGeometricCenter();
  const __m128 c = m_pGeometricCenter->m;
  const __m128 s = _mm_setr_ps(sx, sy, sz, 0.0f);
  MapPoints(*this, [&](__m128 p) { return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(p, c), s), c); });
  if (reparametrize) ReParametrize(0.6f);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::RotateZ(float a) {
  const Angle A(a);
  const t_ssematrix3 m = Rows(A.c, A.s, 0.0f, -A.s, A.c, 0.0f, 0.0f, 0.0f, 1.0f);
  MapPoints(*this, [&](__m128 p) { return CSSEFns::transform(p, m); });
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::RotateXYZ(float a, float b, float c) {
  const Angle A(a), B(b), C(c);
  const float ca = A.c, sa = A.s, cb = B.c, sb = B.s, cc = C.c, sc = C.s;
  const t_ssematrix3 m = Rows(cb * cc, ca * sc - sa * sb * cc, ca * sb * cc + sa * sc,  //
                              -cb * sc, ca * cc + sa * sb * sc, sa * cc - ca * sb * sc,  //
                              -sb, -sa * cb, ca * cb);
  MapPoints(*this, [&](__m128 p) { return CSSEFns::transform(p, m); });
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::TransformVertices(float a, float b) {
  const t_ssematrix3 m = VertexMatrix(a, b);
  MapPoints(*this, [&](__m128 p) { return CSSEFns::transform(p, m); });
  CalcBoundingBox();
}

void CSSE3dPolygon::TransformVerticesAboutCenter(float a, float b) {
  CalcGeometricCenter();
  const __m128 c = m_pGeometricCenter->m;
  const t_ssematrix3 m = VertexMatrix(a, b);
  MapPoints(*this, [&](__m128 p) { return _mm_add_ps(CSSEFns::transform(_mm_sub_ps(p, c), m), c); });
  CalcBoundingBox();
}

void CSSE3dPolygon::FlipOrientationZ(bool mirror) {
  CalcGeometricCenter();
  const float cz = m_pGeometricCenter->z;
  // The non-mirror form is cz - z, not a reflection about cz; callers that
  // only want the order of heights reversed rely on it.
  const float base = mirror ? 2.0f * cz : cz;
  for (int i = 0; i < m_nNumPoints; ++i) SetPointZ(i, base - m_pZ[i]);
  m_bBoundingBoxCalculated = false;
}
