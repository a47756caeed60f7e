// CHTriangulation copies and combinations: deep copy, combination of two
// meshes into fresh triangles, appending one mesh behind another.

#include <cstring>

#include "relief/CHTriangulation.h"

namespace {

void CopyPoints(SSEPoint* dst, const SSEPoint* src, int count) {
  if (count > 0) std::memcpy(static_cast<void*>(dst), src, sizeof(SSEPoint) * static_cast<std::size_t>(count));
}

// Copies the per-triangle data of all of src's triangles into dst's records
// from `first` on. The maxima are filled from src's MINIMA: copies have always
// done so, and callers that need the maxima run CalcSTV. Neighbour pointers
// are copied as values (they keep pointing at src's records).
void CopyTriangleData(CHTriangulation& dst, int first, const CHTriangulation& src) {
  const int n = src.NumTriangles;
  CopyPoints(dst.EdgeArray + 3 * first, src.EdgeArray, 3 * n);
  CopyPoints(dst.NormalArray + 3 * first, src.NormalArray, 3 * n);
  CopyPoints(dst.MainNormalArray + first, src.MainNormalArray, n);
  CopyPoints(dst.TArray + first, src.TArray, n);
  CopyPoints(dst.SArray + first, src.SArray, n);
  CopyPoints(dst.VArray + first, src.VArray, n);
  CopyPoints(dst.MinPointArray + first, src.MinPointArray, n);
  CopyPoints(dst.MaxPointArray + first, src.MinPointArray, n);
  for (int i = 0; i < n; ++i) {
    t_htriangle& d = dst.Triangles[first + i];
    const t_htriangle& s = src.Triangles[i];
    for (int k = 0; k < 3; ++k) d.pNeighbour[k] = s.pNeighbour[k];
    d.Index = s.Index;
    d.Type = s.Type;
  }
}

}  // namespace

void CHTriangulation::CopyFromHTriangulation(CHTriangulation* src) {
  // Copying onto itself would read the arrays that CreateTriangulation has
  // just released.
  if (!src || src == this) return;
  CreateTriangulation(src->NumTriangles);
  CopyTriangleData(*this, 0, *src);
  CopyPoints(PointArray, src->PointArray, 3);
  ScanConvResX = src->ScanConvResX;
  ScanConvResY = src->ScanConvResY;
  ScanConvResZ = src->ScanConvResZ;
  ScanConvDiagonal = src->ScanConvDiagonal;
}

void CHTriangulation::Combine(CHTriangulation& other, bool flip) {
  const int n = NumTriangles;
  const int m = other.NumTriangles;
  CHTriangulation combined(n + m, ScaleX, ScaleY, ScaleZ);
  CopyPoints(combined.EdgeArray, EdgeArray, 3 * n);
  SSEPoint* appended = combined.EdgeArray + 3 * n;
  if (!flip) {
    CopyPoints(appended, other.EdgeArray, 3 * m);
  } else {
    // Reversed corner order turns the winding and with it the flat normal.
    for (int i = 0; i < m; ++i)
      for (int k = 0; k < 3; ++k) appended[3 * i + k] = other.EdgeArray[3 * i + 2 - k];
  }
  combined.CalcBoundingBox();
  combined.CalcSTV();
  combined.CalcNormalsFromVertices();
  combined.CalcCenterPoint();
  CopyFromHTriangulation(&combined);
}

void CHTriangulation::AppendTriangulation(CHTriangulation* other) {
  if (!other) return;
  CHTriangulation saved(this);
  // Appending a mesh to itself reads the second part from the saved copy too.
  const CHTriangulation& tail = other == this ? saved : *other;
  CreateTriangulation(saved.NumTriangles + tail.NumTriangles);
  CopyTriangleData(*this, 0, saved);
  CopyTriangleData(*this, saved.NumTriangles, tail);
  CalcBoundingBox();
}
