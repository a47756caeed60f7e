// CImgFromToArray: per band of four rows, the column span in which content changes.

#include <algorithm>
#include <new>

#include "relief/CImgFromToArray.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"

namespace {

constexpr int kNoRightEnd = 999999;

// Any of the four rows differs between the two columns by 0.005 or more.
bool ColumnsDiffer(__m128 left, __m128 right) {
  const __m128 d = _mm_sub_ps(left, right);
  const __m128 inside = _mm_and_ps(_mm_cmpgt_ps(d, _mm_set1_ps(-0.005f)), _mm_cmplt_ps(d, _mm_set1_ps(0.005f)));
  return _mm_movemask_ps(inside) != 0xF;
}

// The bands k0 <= k < k1 that a query around row y with this range looks at.
void BandRange(int y, int range, int count, int& k0, int& k1) {
  k0 = std::clamp((y - range) >> 2, 0, count - 1);
  k1 = std::clamp((y + range) >> 2, 0, count - 1);
}

}  // namespace

CImgFromToArray::~CImgFromToArray() { Release(); }

void CImgFromToArray::Release() {
  delete[] m_pArray;
  m_pArray = nullptr;
}

void CImgFromToArray::CalcArray(CSSEMatrix& m, int xFrom, int xTo) {
  const int sizeX = m.GetSizeX();
  const int sizeY = m.GetSizeY();
  if (sizeX < 1 || sizeY < 1 || !m.GetMatrixDataDirectly()) return;

  Release();
  m_nCount = (sizeY + 3) >> 2;
  m_pArray = new (std::nothrow) t_fromto[m_nCount];
  if (!m_pArray) {
    m_nCount = 0;
    AfxThrowMemoryException();
  }
  std::fill(m_pArray, m_pArray + m_nCount, t_fromto{0, kNoRightEnd});

  xFrom = xFrom < 1 ? 0 : std::min(xFrom, sizeX - 1);
  xTo = xTo < 1 ? 0 : std::min(xTo, sizeX - 1);

  __m128** lines = m.GetMatrixDataDirectly();
  for (int k = 0; k < m_nCount; ++k) {
    const __m128* row = lines[k];
    t_fromto& span = m_pArray[k];
    for (int x = xFrom + 1; x < xTo; ++x)
      if (ColumnsDiffer(row[x - 1], row[x])) {
        span.from = x;
        break;
      }
    for (int x = xTo; x > std::max(span.from, xFrom); --x)
      if (ColumnsDiffer(row[x - 1], row[x])) {
        span.to = x;
        break;
      }
  }
}

bool CImgFromToArray::IsPositionInArray(int x, int y, int range) const {
  if (!m_pArray) return false;
  if (range == 1) {
    // The band is not clamped: y must lie in the raster. Out-of-table rows
    // answer false rather than reading outside the table.
    const int k = y >> 2;
    if (k < 0 || k >= m_nCount) return false;
    return m_pArray[k].from <= x && x <= m_pArray[k].to;
  }
  int k0, k1;
  BandRange(y, range, m_nCount, k0, k1);
  for (int k = k0; k < k1; ++k)
    if (x < m_pArray[k].from || x > m_pArray[k].to) return false;
  return true;
}

void CImgFromToArray::GetFromToCoords(int& from, int& to, int y, int range) const {
  if (!m_pArray) return;
  if (range == 1) {
    const t_fromto& span = m_pArray[std::clamp(y, 0, m_nCount - 1)];
    from = span.from;
    to = span.to;
    return;
  }
  int k0, k1;
  BandRange(y, range, m_nCount, k0, k1);
  int smallestFrom = kNoRightEnd;
  int largestTo = 0;
  for (int k = k0; k < k1; ++k) {
    smallestFrom = std::min(smallestFrom, m_pArray[k].from);
    largestTo = std::max(largestTo, m_pArray[k].to);
  }
  from = std::max(from, smallestFrom);
  to = std::min(to, largestTo);
}

void CImgFromToArray::DrawInMatrix(CSSEMatrix& m) const {
  if (!m_pArray) return;
  for (int k = 0; k < m_nCount; ++k) {
    m.Set3x3BoxPoint(static_cast<int>(m_pArray[k].from + 0.5f), static_cast<int>(4 * k + 0.5f), 20.0f);
    m.Set3x3BoxPoint(static_cast<int>(m_pArray[k].to + 0.5f), static_cast<int>(4 * k + 0.5f), 30.0f);
  }
}
