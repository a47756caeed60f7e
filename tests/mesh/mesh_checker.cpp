#include <cstdint>
#include <string>

#include "mesh_testing.h"

namespace mesh_test {

namespace {
bool Aligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }
bool EqualLanes(__m128 a, __m128 b) { return std::memcmp(&a, &b, sizeof a) == 0; }
}  // namespace

std::string CheckMesh(const CHTriangulation& m, Checks checks) {
  const int n = m.NumTriangles;
  if (n < 0) return "NumTriangles is negative";
  if (!m.PointArray || !Aligned(m.PointArray)) return "three-point block missing or not 16-byte aligned";
  if (m.pMaxPoint != m.PointArray + 1 || m.pCenterPoint != m.PointArray + 2)
    return "pMaxPoint / pCenterPoint do not point into the three-point block";
  if (n == 0) return "";
  const char* names[] = {"EdgeArray", "NormalArray", "MainNormalArray", "TArray",
                         "SArray",    "VArray",      "MinPointArray",   "MaxPointArray"};
  const SSEPoint* arrays[] = {m.EdgeArray, m.NormalArray, m.MainNormalArray, m.TArray,
                              m.SArray,    m.VArray,      m.MinPointArray,   m.MaxPointArray};
  for (int a = 0; a < 8; ++a)
    if (!arrays[a] || !Aligned(arrays[a])) return std::string(names[a]) + " is null or not 16-byte aligned";
  if (!m.Triangles) return "Triangles is null";

  for (int i = 0; i < n; ++i) {
    const t_htriangle& t = m.Triangles[i];
    const std::string at = "triangle " + std::to_string(i) + ": ";
    const SSEPoint* e = m.EdgeArray + 3 * i;
    // Wiring, in the order of `arrays` after the two per-corner ones.
    const SSEPoint* own[] = {t.pMainNormal, t.pT, t.pS, t.pV, t.pMinPoint, t.pMaxPoint};
    for (int k = 0; k < 3; ++k)
      if (t.pPoint[k] != e + k || t.pNormal[k] != m.NormalArray + 3 * i + k)
        return at + "pPoint / pNormal[" + std::to_string(k) + "] does not point at its own element";
    for (int a = 0; a < 6; ++a)
      if (own[a] != arrays[a + 2] + i) return at + "the pointer into " + names[a + 2] + " is not its own element";
    for (int k = 0; checks.neighbours && k < 3; ++k) {
      const t_htriangle* nb = t.pNeighbour[k];
      if (nb && (nb < m.Triangles || nb >= m.Triangles + n || nb == &t))
        return at + "pNeighbour[" + std::to_string(k) + "]" +
               (nb == &t ? " is the triangle itself" : " is not a record of this mesh");
    }
    const __m128 p0 = e[0].m, p1 = e[1].m, p2 = e[2].m;
    const std::pair<const char*, bool> derived[] = {
        {"S != P1 - P0", EqualLanes(m.SArray[i].m, _mm_sub_ps(p1, p0))},
        {"T != P2 - P0", EqualLanes(m.TArray[i].m, _mm_sub_ps(p2, p0))},
        {"V != P2 - P1", EqualLanes(m.VArray[i].m, _mm_sub_ps(p2, p1))},
        {"minimum is not the corners' minimum", EqualLanes(m.MinPointArray[i].m, _mm_min_ps(_mm_min_ps(p0, p1), p2))},
        {"maximum is not the corners' maximum", EqualLanes(m.MaxPointArray[i].m, _mm_max_ps(_mm_max_ps(p0, p1), p2))}};
    for (const auto& d : derived)
      if (checks.derived && !d.second) return at + d.first;
    const SSEPoint &lo = m.PointArray[0], &hi = m.PointArray[1];
    for (int k = 0; checks.box && k < 3; ++k)
      if (e[k].x < lo.x || e[k].y < lo.y || e[k].z < lo.z || e[k].x > hi.x || e[k].y > hi.y || e[k].z > hi.z)
        return at + "corner " + std::to_string(k) + " lies outside the bounding box";
  }
  return "";
}

void Fill(CHTriangulation& m, const std::vector<Tri>& tris) {
  m.CreateTriangulation(static_cast<int>(tris.size()));
  for (std::size_t i = 0; i < 3 * tris.size(); ++i) {
    const Corner& c = tris[i / 3][i % 3];
    m.EdgeArray[i] = Point(c.x, c.y, c.z, c.w);
  }
  m.CalcBoundingBox();
  m.CalcSTV();
}

}  // namespace mesh_test
