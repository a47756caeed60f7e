// Removal of triangles by height band or repeated orientation, and the
// normal recomputation kept under its historical name.

#include <vector>

#include "relief/CHTriangulation.h"

namespace {

// Rebuilds `mesh` from the triangles whose index `keep` accepts, in index
// order: corners, vertex normals, T, S, V, main normal, minimum, maximum,
// Index and Type are copied; Index is not renumbered. Then the neighbours
// are linked again; box and centre stay as they were.
template <typename Keep>
void KeepTriangles(CHTriangulation& mesh, Keep keep) {
  CHTriangulation old;
  old.BaseInitialization(mesh.GetScaleX(), mesh.GetScaleY(), mesh.GetScaleZ());
  // The copy fills its maxima from the minima, so the kept triangles come
  // out with maximum == minimum; callers that need the maxima run CalcSTV.
  old.CopyFromHTriangulation(&mesh);

  std::vector<int> kept;
  kept.reserve(static_cast<std::size_t>(old.GetNumTriangles()));
  for (int i = 0; i < old.GetNumTriangles(); ++i) {
    if (keep(old.Triangles[i])) kept.push_back(i);
  }
  mesh.CreateTriangulation(static_cast<int>(kept.size()));
  for (int k = 0; k < static_cast<int>(kept.size()); ++k) {
    const t_htriangle& from = old.Triangles[kept[k]];
    t_htriangle& to = mesh.Triangles[k];
    for (int c = 0; c < 3; ++c) {
      *to.pPoint[c] = *from.pPoint[c];
      *to.pNormal[c] = *from.pNormal[c];
    }
    *to.pT = *from.pT;
    *to.pS = *from.pS;
    *to.pV = *from.pV;
    *to.pMainNormal = *from.pMainNormal;
    *to.pMinPoint = *from.pMinPoint;
    *to.pMaxPoint = *from.pMaxPoint;
    to.Index = from.Index;
    to.Type = from.Type;
  }
  mesh.CalcNeighbours();
}

// Corner z in double, as the keep rules compare it.
double Z(const t_htriangle& t, int c) { return static_cast<double>(t.pPoint[c]->z); }

}  // namespace

void CHTriangulation::RemoveTrianglesBelowZ(float limit) {
  const double l = limit;
  KeepTriangles(*this, [l](const t_htriangle& t) { return Z(t, 0) > l || Z(t, 1) > l || Z(t, 2) > l; });
}

void CHTriangulation::RemoveTrianglesAboveZ(float limit) {
  const double l = limit;
  KeepTriangles(*this, [l](const t_htriangle& t) { return Z(t, 0) < l || Z(t, 1) < l || Z(t, 2) < l; });
}

void CHTriangulation::RemoveTrianglesBetweenZ(float low, float high) {
  // Any ONE corner inside the closed band removes the triangle (unlike the
  // one-sided removals, which need all three corners).
  const double lo = low, hi = high;
  KeepTriangles(*this, [lo, hi](const t_htriangle& t) {
    for (int c = 0; c < 3; ++c) {
      if (lo <= Z(t, c) && Z(t, c) <= hi) return false;
    }
    return true;
  });
}

void CHTriangulation::RemoveTrianglesWithSameOrientation() {
  // Every pair, earlier marks included: a triangle already tagged 0 still
  // tags the later ones that repeat its normal. Quadratic on purpose.
  const __m128 tolerance = _mm_set1_ps(0.05f);
  const __m128 signBit = _mm_set1_ps(-0.0f);
  for (int i = 0; i < NumTriangles; ++i) {
    const __m128 ni = Triangles[i].pNormal[0]->m;
    for (int j = i + 1; j < NumTriangles; ++j) {
      const __m128 diff = _mm_andnot_ps(signBit, _mm_sub_ps(Triangles[j].pNormal[0]->m, ni));
      // |difference| <= 0.05 in all four lanes (NaN never is).
      if (_mm_movemask_ps(_mm_cmple_ps(diff, tolerance)) == 0xF) Triangles[j].Type = 0;
    }
  }
  KeepTriangles(*this, [](const t_htriangle& t) { return t.Type != 0; });
}

void CHTriangulation::OrientTrianglesTowardsBBoxCenter() {
  // Despite its name this turns no triangle: callers rely on it only
  // refreshing the flat normals.
  CalcNormalsFromVertices();
}
