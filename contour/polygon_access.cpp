// CSSE3dPolygon: one-point accessors and the whole-polygon setters.

#include <emmintrin.h>

#include "relief/CSSE3dPolygon.h"

namespace {
inline bool InRange(int i, int n) { return i >= 0 && i < n; }
}  // namespace

// ---- raw setters: every write makes the box stale ------------------------

void CSSE3dPolygon::SetPoint(int i, float x, float y, float z) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pX[i] = x;
  m_pY[i] = y;
  m_pZ[i] = z;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointXY(int i, float x, float y) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pX[i] = x;
  m_pY[i] = y;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointXZ(int i, float x, float z) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pX[i] = x;
  m_pZ[i] = z;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointZY(int i, float z, float y) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pZ[i] = z;
  m_pY[i] = y;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointX(int i, float x) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pX[i] = x;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointY(int i, float y) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pY[i] = y;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointZ(int i, float z) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pZ[i] = z;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointSSE(int i, SSEPoint& p) { SetPoint(i, p.x, p.y, p.z); }

// ---- raw getters ------------------------------------------------------------

void CSSE3dPolygon::GetPoint(int i, float& x, float& y, float& z) const {
  if (!InRange(i, m_nNumPoints)) return;
  x = m_pX[i];
  y = m_pY[i];
  z = m_pZ[i];
}

void CSSE3dPolygon::GetPointXY(int i, float& x, float& y) const {
  if (!InRange(i, m_nNumPoints)) return;
  x = m_pX[i];
  y = m_pY[i];
}

void CSSE3dPolygon::GetPointXZ(int i, float& x, float& z) const {
  if (!InRange(i, m_nNumPoints)) return;
  x = m_pX[i];
  z = m_pZ[i];
}

void CSSE3dPolygon::GetPointZY(int i, float& z, float& y) const {
  if (!InRange(i, m_nNumPoints)) return;
  z = m_pZ[i];
  y = m_pY[i];
}

void CSSE3dPolygon::GetPointX(int i, float& x) const {
  if (InRange(i, m_nNumPoints)) x = m_pX[i];
}

void CSSE3dPolygon::GetPointY(int i, float& y) const {
  if (InRange(i, m_nNumPoints)) y = m_pY[i];
}

void CSSE3dPolygon::GetPointZ(int i, float& z) const {
  if (InRange(i, m_nNumPoints)) z = m_pZ[i];
}

void CSSE3dPolygon::GetPointSSE(int i, SSEPoint& p) const {
  p.m = _mm_setzero_ps();
  if (InRange(i, m_nNumPoints)) p.m = _mm_setr_ps(m_pX[i], m_pY[i], m_pZ[i], 0.0f);
}

void CSSE3dPolygon::GetPointXYSSE(int i, SSEPoint& p) const {
  p.m = _mm_setzero_ps();
  if (InRange(i, m_nNumPoints)) p.m = _mm_setr_ps(m_pX[i], m_pY[i], 0.0f, 0.0f);
}

void CSSE3dPolygon::GetPointSSEClosed(int i, SSEPoint& p) const {
  p.m = _mm_setzero_ps();
  if (m_nNumPoints <= 0) return;  // no remainder by zero: the zero point
  const int r = i % m_nNumPoints;  // truncating: negative i stays negative
  if (InRange(r, m_nNumPoints)) p.m = _mm_setr_ps(m_pX[r], m_pY[r], m_pZ[r], 0.0f);
}

// ---- normalized coordinates ------------------------------------------------

void CSSE3dPolygon::SetPointNormalized(int i, float x, float y, float z) {
  if (!InRange(i, m_nNumPoints)) return;
  m_pXNormalized[i] = x;
  m_pYNormalized[i] = y;
  m_pZNormalized[i] = z;
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetPointNormalizedSSE(int i, SSEPoint& p) { SetPointNormalized(i, p.x, p.y, p.z); }

void CSSE3dPolygon::GetPointNormalized(int i, float& x, float& y, float& z) const {
  if (!InRange(i, m_nNumPoints)) return;
  x = m_pXNormalized[i];
  y = m_pYNormalized[i];
  z = m_pZNormalized[i];
}

void CSSE3dPolygon::GetPointNormalizedSSE(int i, SSEPoint& p) const {
  // Unlike the other SSE getters this one does not clear the result first.
  if (!InRange(i, m_nNumPoints)) return;
  p.x = m_pXNormalized[i];
  p.y = m_pYNormalized[i];
  p.z = m_pZNormalized[i];
}

void CSSE3dPolygon::GetPointNormalizedXY(int i, float& x, float& y) const {
  if (!InRange(i, m_nNumPoints)) return;
  x = m_pXNormalized[i];
  y = m_pYNormalized[i];
}

void CSSE3dPolygon::GetPointNormalizedXYSSE(int i, SSEPoint& p) const {
  p.m = _mm_setzero_ps();
  if (InRange(i, m_nNumPoints)) p.m = _mm_setr_ps(m_pXNormalized[i], m_pYNormalized[i], 0.0f, 0.0f);
}

// ---- whole-polygon setters ---------------------------------------------------

void CSSE3dPolygon::SetAllZValues(float v) {
  for (int i = 0; i < m_nNumPoints; ++i) SetPointZ(i, v);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SetAllYValues(float v) {
  for (int i = 0; i < m_nNumPoints; ++i) SetPointY(i, v);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::AddValueToAllXValues(float d) {
  for (int i = 0; i < m_nNumPoints; ++i)
    SetPointX(i, static_cast<float>(static_cast<double>(m_pX[i]) + d));
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::AddValueToAllYValues(float d) {
  for (int i = 0; i < m_nNumPoints; ++i)
    SetPointY(i, static_cast<float>(static_cast<double>(m_pY[i]) + d));
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SwapYandZCoord() {
  for (int i = 0; i < m_nNumPoints; ++i) SetPointZY(i, m_pY[i], m_pZ[i]);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::SwapXandZCoord() {
  for (int i = 0; i < m_nNumPoints; ++i) SetPointXZ(i, m_pZ[i], m_pX[i]);
  m_bBoundingBoxCalculated = false;
}

void CSSE3dPolygon::FlipOrientationAndMoveCoordsZ(float v) {
  for (int i = 0; i < m_nNumPoints; ++i) SetPointZ(i, v - m_pZ[i]);
  m_bBoundingBoxCalculated = false;
}
