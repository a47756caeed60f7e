// CSSE3dPolygon: storage, life cycle, copies and the derived quantities (box,
// centre, normalized coordinates).

#include <emmintrin.h>

#include <cstring>

#include "contour/float_arrays.h"
#include "relief/CMemoryException.h"
#include "relief/CPixelChain.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/SafeMemory.h"

using relief::detail::AllocPaddedFloats;
using relief::detail::PaddedCount;
using relief::detail::TruncToInt;

// The five records share one aligned block, in the order top-right,
// bottom-left, centre, top-right 2D, bottom-left 2D.
void CSSE3dPolygon::AllocateRecords() {
  SSEPoint* block = static_cast<SSEPoint*>(SafeAlignedAlloc(5 * sizeof(SSEPoint), 16));
  std::memset(block, 0, 5 * sizeof(SSEPoint));
  m_pTopRight = block;
  m_pBottomLeft = block + 1;
  m_pGeometricCenter = block + 2;
  m_pTopRight2D = block + 3;
  m_pBottomLeft2D = block + 4;
}

CSSE3dPolygon::CSSE3dPolygon()
    : m_pX(nullptr),
      m_pY(nullptr),
      m_pZ(nullptr),
      m_pXNormalized(nullptr),
      m_pYNormalized(nullptr),
      m_pZNormalized(nullptr),
      m_nNumPoints(0),
      m_pTopRight(nullptr),
      m_pBottomLeft(nullptr),
      m_pTopRight2D(nullptr),
      m_pBottomLeft2D(nullptr),
      m_pGeometricCenter(nullptr),
      m_bBoundingBoxCalculated(false) {
  AllocateRecords();
}

CSSE3dPolygon::CSSE3dPolygon(const CSSE3dPolygon& source) : CSSE3dPolygon() {
  std::memcpy(m_pTopRight, source.m_pTopRight, 5 * sizeof(SSEPoint));
  // The delegated constructor has finished, so the destructor cleans up
  // if Create throws.
  Create(source.m_nNumPoints);
  // The source's flag survives only when no point is written below.
  m_bBoundingBoxCalculated = source.m_bBoundingBoxCalculated;
  if (m_nNumPoints > 0) {
    const std::size_t bytes = PaddedCount(m_nNumPoints) * sizeof(float);
    std::memcpy(m_pX, source.m_pX, bytes);
    std::memcpy(m_pY, source.m_pY, bytes);
    std::memcpy(m_pZ, source.m_pZ, bytes);
    std::memcpy(m_pXNormalized, source.m_pXNormalized, bytes);
    std::memcpy(m_pYNormalized, source.m_pYNormalized, bytes);
    std::memcpy(m_pZNormalized, source.m_pZNormalized, bytes);
    m_bBoundingBoxCalculated = false;  // as if written point by point
  }
}

CSSE3dPolygon::CSSE3dPolygon(CPixelChain& chain, int step) : CSSE3dPolygon() {
  const int count = chain.GetCount();
  if (count <= 0) return;
  const int taken = step > 1 ? count / step : count;
  const int stride = step > 1 ? step : 1;
  if (taken < 1) return;
  Create(taken);
  for (int k = 0; k < taken; ++k) {
    int x = 0, y = 0;
    chain.GetPixel(k * stride, x, y);
    SetPoint(k, static_cast<float>(x), static_cast<float>(y), 0.0f);
  }
}

CSSE3dPolygon::~CSSE3dPolygon() {
  Free();
  SafeAlignedFree(m_pTopRight);
}

CSSE3dPolygon& CSSE3dPolygon::operator=(const CSSE3dPolygon& other) {
  // Shallow on purpose: the object then aliases other's storage.
  m_pX = other.m_pX;
  m_pY = other.m_pY;
  m_pZ = other.m_pZ;
  m_pXNormalized = other.m_pXNormalized;
  m_pYNormalized = other.m_pYNormalized;
  m_pZNormalized = other.m_pZNormalized;
  m_nNumPoints = other.m_nNumPoints;
  m_pTopRight = other.m_pTopRight;
  m_pBottomLeft = other.m_pBottomLeft;
  m_pTopRight2D = other.m_pTopRight2D;
  m_pBottomLeft2D = other.m_pBottomLeft2D;
  m_pGeometricCenter = other.m_pGeometricCenter;
  m_bBoundingBoxCalculated = other.m_bBoundingBoxCalculated;
  return *this;
}

void CSSE3dPolygon::Create(int n) {
  Free();
  if (n < 0) AfxThrowMemoryException();
  if (n > 0) {
    // Allocate all six before attaching any, so a failure leaves the polygon
    // empty rather than half built.
    float* arrays[6] = {};
    try {
      for (float*& a : arrays) a = AllocPaddedFloats(n);
    } catch (...) {
      for (float* a : arrays) SafeAlignedFree(a);
      throw;
    }
    m_pX = arrays[0];
    m_pY = arrays[1];
    m_pZ = arrays[2];
    m_pXNormalized = arrays[3];
    m_pYNormalized = arrays[4];
    m_pZNormalized = arrays[5];
  }
  m_nNumPoints = n;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::Free() {
  if (m_nNumPoints <= 0) return;
  float** arrays[6] = {&m_pX, &m_pY, &m_pZ, &m_pXNormalized, &m_pYNormalized, &m_pZNormalized};
  for (float** a : arrays) {
    SafeAlignedFree(*a);
    *a = nullptr;
  }
  m_nNumPoints = 0;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::CreateSimilar(CSSE3dPolygon* src) {
  if (!src) return;
  if (src == this) return;  // nothing to copy onto itself
  Create(src->m_nNumPoints);
  if (m_nNumPoints > 0) {
    const std::size_t bytes = PaddedCount(m_nNumPoints) * sizeof(float);
    std::memcpy(m_pX, src->m_pX, bytes);
    std::memcpy(m_pY, src->m_pY, bytes);
    std::memcpy(m_pZ, src->m_pZ, bytes);
  }
  std::memcpy(m_pTopRight, src->m_pTopRight, 5 * sizeof(SSEPoint));
  m_bBoundingBoxCalculated = src->m_bBoundingBoxCalculated;
}

void CSSE3dPolygon::AppendPoints(CSSE3dPolygon& other) {
  const int added = other.m_nNumPoints;
  if (added <= 0) return;
  if (m_nNumPoints <= 0) {
    CreateSimilar(&other);
    return;
  }
  const int kept = m_nNumPoints;
  CSSE3dPolygon joined;
  joined.Create(kept + added);
  std::memcpy(joined.m_pX, m_pX, kept * sizeof(float));
  std::memcpy(joined.m_pY, m_pY, kept * sizeof(float));
  std::memcpy(joined.m_pZ, m_pZ, kept * sizeof(float));
  std::memcpy(joined.m_pX + kept, other.m_pX, added * sizeof(float));
  std::memcpy(joined.m_pY + kept, other.m_pY, added * sizeof(float));
  std::memcpy(joined.m_pZ + kept, other.m_pZ, added * sizeof(float));
  CreateSimilar(&joined);  // takes over the temporary's zero records, flag false
}

// ---- derived quantities ---------------------------------------------------

void CSSE3dPolygon::CalcBoundingBox() {
  __m128 top = _mm_set1_ps(-1e6f);
  __m128 bottom = _mm_set1_ps(1e6f);
  for (int i = 0; i < m_nNumPoints; ++i) {
    const __m128 p = _mm_setr_ps(m_pX[i], m_pY[i], m_pZ[i], 0.0f);
    // The running value is the second operand, so a NaN lane is skipped.
    top = _mm_max_ps(p, top);
    bottom = _mm_min_ps(p, bottom);
  }
  m_pTopRight->m = top;
  m_pBottomLeft->m = bottom;
  m_pTopRight->w = 0.0f;
  m_pBottomLeft->w = 0.0f;
  *m_pTopRight2D = *m_pTopRight;
  *m_pBottomLeft2D = *m_pBottomLeft;
  m_pTopRight2D->z = 0.0f;
  m_pBottomLeft2D->z = 0.0f;
  m_bBoundingBoxCalculated = true;
}

void CSSE3dPolygon::GetBoundingBox2D(int& minX, int& minY, int& maxX, int& maxY) {
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  const SSEPoint& a = *m_pBottomLeft;
  const SSEPoint& b = *m_pTopRight;
  minX = TruncToInt(a.x < b.x ? a.x : b.x);
  minY = TruncToInt(a.y < b.y ? a.y : b.y);
  maxX = TruncToInt(a.x > b.x ? a.x : b.x);
  maxY = TruncToInt(a.y > b.y ? a.y : b.y);
}

void CSSE3dPolygon::GetBoundingBox3D(float& minX, float& minY, float& minZ, float& maxX, float& maxY,
                                     float& maxZ) {
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  const SSEPoint& a = *m_pBottomLeft;
  const SSEPoint& b = *m_pTopRight;
  minX = a.x < b.x ? a.x : b.x;
  minY = a.y < b.y ? a.y : b.y;
  minZ = a.z < b.z ? a.z : b.z;
  maxX = a.x > b.x ? a.x : b.x;
  maxY = a.y > b.y ? a.y : b.y;
  maxZ = a.z > b.z ? a.z : b.z;
}

void CSSE3dPolygon::CalcGeometricCenter() {
  __m128 sum = _mm_setzero_ps();
  if (m_nNumPoints >= 1) {
    // Each point is divided before it is added (not the sum afterwards):
    // that order fixes the rounding of the centre.
    const __m128 n = _mm_set1_ps(static_cast<float>(m_nNumPoints));
    for (int i = 0; i < m_nNumPoints; ++i)
      sum = _mm_add_ps(sum, _mm_div_ps(_mm_setr_ps(m_pX[i], m_pY[i], m_pZ[i], 0.0f), n));
  }
  m_pGeometricCenter->m = sum;
}

void CSSE3dPolygon::NormalizeXYZ(t_resolutiondata& r) {
  const int padded = static_cast<int>(PaddedCount(m_nNumPoints));
  if (m_nNumPoints <= 0) return;
  const __m128 fx = _mm_set1_ps(r.x), fy = _mm_set1_ps(r.y), fz = _mm_set1_ps(r.z);
  for (int i = 0; i < padded; i += 4) {
    _mm_store_ps(m_pXNormalized + i, _mm_mul_ps(_mm_load_ps(m_pX + i), fx));
    _mm_store_ps(m_pYNormalized + i, _mm_mul_ps(_mm_load_ps(m_pY + i), fy));
    _mm_store_ps(m_pZNormalized + i, _mm_mul_ps(_mm_load_ps(m_pZ + i), fz));
  }
}
