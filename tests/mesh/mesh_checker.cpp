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
  const std::pair<const char*, const SSEPoint*> arrays[] = {
      {"EdgeArray", m.EdgeArray}, {"NormalArray", m.NormalArray}, {"MainNormalArray", m.MainNormalArray},
      {"TArray", m.TArray},       {"SArray", m.SArray},           {"VArray", m.VArray},
      {"MinPointArray", m.MinPointArray}, {"MaxPointArray", m.MaxPointArray}};
  for (const auto& a : arrays)
    if (!a.second || !Aligned(a.second)) return std::string(a.first) + " is null or not 16-byte aligned";
  if (!m.Triangles) return "Triangles is null";

  for (int i = 0; i < n; ++i) {
    const t_htriangle& t = m.Triangles[i];
    const std::string at = "triangle " + std::to_string(i) + ": ";
    const SSEPoint* e = m.EdgeArray + 3 * i;
    const SSEPoint* nm = m.NormalArray + 3 * i;
    const struct {
      const char* name;
      const SSEPoint *is, *should;
    } wires[] = {{"pPoint[0]", t.pPoint[0], e},          {"pPoint[1]", t.pPoint[1], e + 1},
                 {"pPoint[2]", t.pPoint[2], e + 2},      {"pNormal[0]", t.pNormal[0], nm},
                 {"pNormal[1]", t.pNormal[1], nm + 1},   {"pNormal[2]", t.pNormal[2], nm + 2},
                 {"pT", t.pT, m.TArray + i},             {"pS", t.pS, m.SArray + i},
                 {"pV", t.pV, m.VArray + i},             {"pMainNormal", t.pMainNormal, m.MainNormalArray + i},
                 {"pMinPoint", t.pMinPoint, m.MinPointArray + i}, {"pMaxPoint", t.pMaxPoint, m.MaxPointArray + i}};
    for (const auto& w : wires)
      if (w.is != w.should) return at + w.name + " does not point at its own element";
    for (int k = 0; checks.neighbours && k < 3; ++k) {
      const t_htriangle* nb = t.pNeighbour[k];
      if (nb && (nb < m.Triangles || nb >= m.Triangles + n || nb == &t))
        return at + "pNeighbour[" + std::to_string(k) + "]" +
               (nb == &t ? " is the triangle itself" : " is not a record of this mesh");
    }
    if (checks.derived) {
      const __m128 p0 = e[0].m, p1 = e[1].m, p2 = e[2].m;
      const std::pair<const char*, bool> derived[] = {
          {"S != P1 - P0", EqualLanes(m.SArray[i].m, _mm_sub_ps(p1, p0))},
          {"T != P2 - P0", EqualLanes(m.TArray[i].m, _mm_sub_ps(p2, p0))},
          {"V != P2 - P1", EqualLanes(m.VArray[i].m, _mm_sub_ps(p2, p1))},
          {"minimum is not the corners' minimum", EqualLanes(m.MinPointArray[i].m, _mm_min_ps(_mm_min_ps(p0, p1), p2))},
          {"maximum is not the corners' maximum", EqualLanes(m.MaxPointArray[i].m, _mm_max_ps(_mm_max_ps(p0, p1), p2))},
      };
      for (const auto& d : derived)
        if (!d.second) return at + d.first;
    }
    const SSEPoint &lo = m.PointArray[0], &hi = m.PointArray[1];
    for (int k = 0; checks.box && k < 3; ++k)
      if (e[k].x < lo.x || e[k].y < lo.y || e[k].z < lo.z || e[k].x > hi.x || e[k].y > hi.y || e[k].z > hi.z)
        return at + "corner " + std::to_string(k) + " lies outside the bounding box";
  }
  return "";
}

void Fill(CHTriangulation& m, const std::vector<Tri>& tris) {
  m.CreateTriangulation(static_cast<int>(tris.size()));
  for (std::size_t i = 0; i < tris.size(); ++i)
    for (int k = 0; k < 3; ++k) {
      const Corner& c = tris[i][k];
      m.EdgeArray[3 * i + k] = Point(c.x, c.y, c.z, c.w);
    }
  m.CalcBoundingBox();
  m.CalcSTV();
}

}  // namespace mesh_test
