// Scan conversion of the triangulation into a raster, its bounding box, and
// the per-triangle normal and centre fields.
#include <cmath>

#include "core/pixel_rounding.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"
#include "relief/TaCIncrementalDelaunay2D.h"

using relief::detail::PixelOf;

namespace {
constexpr float kLowFill = -999999.875f;
constexpr float kHighFill = 999999.875f;
}  // namespace

void TaCIncrementalDelaunay2D::SetScanConvResolution(float rx, float ry, float rz) {
  m_fResolutionX = rx;
  m_fResolutionY = ry;
  m_fResolutionZ = rz;
  m_fResolutionXY = static_cast<float>(std::sqrt(static_cast<double>(rx) * rx + static_cast<double>(ry) * ry));
}

void TaCIncrementalDelaunay2D::CalcBoundingBox() {
  __m128 lo = _mm_set1_ps(1000000.0f), hi = _mm_set1_ps(-1000000.0f);
  for (t_hdelaunaytriangle* t : MarkedList())
    for (int i = 0; i < 3; ++i) {
      lo = _mm_min_ps(lo, m_pVertices[t->nVertex[i]].m);
      hi = _mm_max_ps(hi, m_pVertices[t->nVertex[i]].m);
    }
  m_pBoundingBox[0].m = lo;
  m_pBoundingBox[1].m = hi;
}

SSEPoint TaCIncrementalDelaunay2D::CalcCenterPoint() {
  SSEPoint c;
  c.m = _mm_mul_ps(_mm_add_ps(m_pBoundingBox[0].m, m_pBoundingBox[1].m), _mm_set1_ps(0.5f));
  return c;
}

void TaCIncrementalDelaunay2D::ScanConvertTriangulationMax(CSSEMatrix* output, float emptyValue, SSEPoint& origin) {
  ScanConvert<true>(output, emptyValue, origin);
}

void TaCIncrementalDelaunay2D::ScanConvertTriangulationMin(CSSEMatrix* output, float emptyValue, SSEPoint& origin) {
  ScanConvert<false>(output, emptyValue, origin);
}

// Each triangle is sampled along its two edge vectors at a fifth of the cell
// diagonal measured against the longer edge, dense enough that every cell the
// triangle covers is reached at least once.
template <bool kMax>
void TaCIncrementalDelaunay2D::ScanConvert(CSSEMatrix* output, float emptyValue, SSEPoint& origin) {
  CalcCenterPoint();
  const float fill = kMax ? kLowFill : kHighFill;
  const SSEPoint lo = m_pBoundingBox[0], hi = m_pBoundingBox[1];
  // An empty triangulation leaves the box inverted; it then covers no cell.
  int width = PixelOf((hi.x - lo.x) / m_fResolutionX);
  int height = PixelOf((hi.y - lo.y) / m_fResolutionY);
  if (width < 0) width = 0;
  if (height < 0) height = 0;
  output->CreateNoClear(width, height);
  output->Fill(fill);
  origin = lo;
  for (t_hdelaunaytriangle* t : MarkedList()) {
    const __m128 p0 = m_pVertices[t->nVertex[0]].m;
    const __m128 e1 = _mm_sub_ps(m_pVertices[t->nVertex[1]].m, p0);
    const __m128 e2 = _mm_sub_ps(m_pVertices[t->nVertex[2]].m, p0);
    const float l1 = CSSEFns::vectorlen(e1), l2 = CSSEFns::vectorlen(e2);
    const float longest = l1 > l2 ? l1 : l2;
    const float step = static_cast<float>((m_fResolutionXY / longest) / 5.0);
    // A zero or NaN step (zero resolution) would never advance: one sample.
    const bool single = !(step > 0.0f);
    for (float s = 0.0f; s < 1.0f; s += step) {
      for (float u = 0.0f; u < 1.0f - s; u += step) {
        SSEPoint q;
        q.m = _mm_sub_ps(_mm_add_ps(_mm_add_ps(p0, _mm_mul_ps(_mm_set1_ps(u), e2)), _mm_mul_ps(_mm_set1_ps(s), e1)),
                         lo.m);
        const int column = PixelOf(q.x / m_fResolutionX);
        const int row = PixelOf(q.y / m_fResolutionY);
        if (column >= 0 && column < width && row >= 0 && row < height) {
          const float value = (origin.z + q.z) / m_fResolutionZ;
          const float held = output->GetPoint(column, row);
          if (kMax ? value > held : value < held) output->SetPoint(column, row, value);
        }
        if (single) break;
      }
      if (single) break;
    }
  }
  output->ReplaceValueWithValue(fill, emptyValue, 1.0f);
}

// ---- normals and centres ----------------------------------------------------

void TaCIncrementalDelaunay2D::CrossProduct(SSEPoint* a, SSEPoint* b, SSEPoint* out) {
  out->x = a->y * b->z - a->z * b->y;
  out->y = a->z * b->x - a->x * b->z;
  out->z = a->x * b->y - a->y * b->x;
  out->w = 0.0f;
}

void TaCIncrementalDelaunay2D::NormalizeVector(SSEPoint* v) { v->m = CSSEFns::normalizevector(v->m); }

void TaCIncrementalDelaunay2D::ComputeCentreOfTriangle(SSEPoint* p0, SSEPoint* p1, SSEPoint* p2, SSEPoint* out) {
  out->m = _mm_div_ps(_mm_add_ps(_mm_add_ps(p0->m, p1->m), p2->m), _mm_set1_ps(3.0f));
}

void TaCIncrementalDelaunay2D::ComputeNormalVectorOfTriangle(t_hdelaunaytriangle* t) {
  if (!t->pNormal) return;
  SSEPoint e1, e2;
  e1.m = _mm_sub_ps(m_pVertices[t->nVertex[1]].m, m_pVertices[t->nVertex[0]].m);
  e2.m = _mm_sub_ps(m_pVertices[t->nVertex[2]].m, m_pVertices[t->nVertex[0]].m);
  CrossProduct(&e1, &e2, t->pNormal);
  NormalizeVector(t->pNormal);
}

void TaCIncrementalDelaunay2D::ComputeNormalVectorsOfTriangles() {
  if (!m_bFinalized) return;
  CreateNormalVectorField(m_FinalTriangleList.GetCount());
  SSEPoint* slot = m_pNormalVectors;
  for (t_hdelaunaytriangle* t : m_FinalTriangleList) {
    t->pNormal = slot++;
    ComputeNormalVectorOfTriangle(t);
  }
}

void TaCIncrementalDelaunay2D::ComputeCentresOfTriangles() {
  if (!m_bFinalized) return;
  CreateTriangleCentersField(m_FinalTriangleList.GetCount());
  SSEPoint* slot = m_pTriangleCenters;
  for (t_hdelaunaytriangle* t : m_FinalTriangleList) {
    t->pCenter = slot++;
    ComputeCentreOfTriangle(&m_pVertices[t->nVertex[0]], &m_pVertices[t->nVertex[1]], &m_pVertices[t->nVertex[2]],
                            t->pCenter);
  }
}

void TaCIncrementalDelaunay2D::CreateNormalVectorField(int count) {
  ClearTriangleNormals();
  if (count > 0)
    m_pNormalVectors = static_cast<SSEPoint*>(SafeAlignedAlloc(static_cast<std::size_t>(count) * sizeof(SSEPoint), 16));
}

void TaCIncrementalDelaunay2D::CreateTriangleCentersField(int count) {
  ClearTriangleCenters();
  if (count > 0)
    m_pTriangleCenters =
        static_cast<SSEPoint*>(SafeAlignedAlloc(static_cast<std::size_t>(count) * sizeof(SSEPoint), 16));
}

void TaCIncrementalDelaunay2D::ClearTriangleNormals() {
  SafeAlignedFree(m_pNormalVectors);
  m_pNormalVectors = nullptr;
}

void TaCIncrementalDelaunay2D::ClearTriangleCenters() {
  SafeAlignedFree(m_pTriangleCenters);
  m_pTriangleCenters = nullptr;
}
