#pragma once

#include <cstdint>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CSSE3dPolygon;
class CSSEMatrix;

// A fixed-capacity array of 16-byte aligned SSEPoint vertices. It never grows
// by itself: appending beyond the capacity drops the vertex silently, and
// only CreateVertexArray / ReallocSize change the capacity.
// Invariant: 0 <= used <= capacity (a negative n given to CreateVertexArray
// leaves a negative capacity and no array). Copies (constructor and
// assignment) are deep and keep the capacity. Allocation failure throws
// CMemoryException.
class RELIEF_API TaCSSEVertexContainer {
 public:
  // Empty: no array, used = capacity = 0.
  TaCSSEVertexContainer();
  // Empty, then CreateVertexArray(n).
  explicit TaCSSEVertexContainer(int n);
  TaCSSEVertexContainer(const TaCSSEVertexContainer& other);
  ~TaCSSEVertexContainer();
  // Deep: other's used vertices into an array of other's capacity.
  // Self-assignment does nothing.
  TaCSSEVertexContainer& operator=(const TaCSSEVertexContainer& other);

  // Sets all three members to zero without releasing anything.
  void InitializeObject();
  // Releases the old array; allocates n vertices (zeroed) when n > 0; used 0,
  // capacity n (also when n <= 0).
  void CreateVertexArray(int n);
  // Releases the array; used = capacity = 0.
  void FreeVertices();
  int GetNumVertices() const { return m_nNumVertices; }
  int GetMaxNumVertices() const { return m_nMaxNumVertices; }

  // Stores all four lanes of p at the end when there is room, else drops it.
  void AppendVertex(SSEPoint& p);
  // Appends (x, y, z, 0) for every point of poly in order, by AppendVertex.
  void AddPolygon(CSSE3dPolygon& poly);
  // Vertex i (all lanes) for 0 <= i < used, otherwise the zero point.
  SSEPoint GetVertex(int i) const;
  // Pointer to stored vertex i for 0 <= i < used, otherwise null.
  SSEPoint* GetVertexPtr(int i) const;
  // Lane 2 of vertex i := z. Meant for 0 <= i < capacity; other indices are ignored.
  void SetZValueInVertex(float z, int i);
  // n > 0: new capacity n keeping the used vertices (when n is below the used
  // count only the first n are kept and used becomes n). n <= 0: FreeVertices.
  void ReallocSize(int n);

  // Lane-wise minimum (maximum) of the used vertices over all four lanes,
  // starting from 999999.875 (-999999.875), which is the answer when empty.
  // NaN lanes are skipped.
  SSEPoint MinPoint() const;
  SSEPoint MaxPoint() const;
  // out = MinPoint() (MaxPoint()); the first index whose x and y both equal
  // out's exactly, or -1 (as when the extreme x and y belong to different
  // vertices).
  int MinPointIndex(SSEPoint& out) const;
  int MaxPointIndex(SSEPoint& out) const;
  // First index whose x and y equal p's exactly (z and w not compared), or -1.
  int PointIndex(SSEPoint& p) const;
  // z of every used vertex := m's pixel at (trunc(x + 0.5), trunc(y + 0.5)),
  // clamped into m. A null m or one without storage does nothing.
  void SetVertexZFromMatrix(CSSEMatrix* m);
  // x += dx, y += dy, z += dz per used vertex (sums in double); w unchanged.
  void AddOffset(float dx, float dy, float dz);
  // Adds the one vector e (x, y, z) to every used vertex. Null e does nothing.
  void AddError(SSEPoint* e);

 protected:
  SSEPoint* m_pVertices;
  std::int32_t m_nNumVertices;
  std::int32_t m_nMaxNumVertices;
};
