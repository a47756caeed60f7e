#include <cstdint>
#include <sstream>

#include "mesh_testing.h"

namespace mesh_test {

namespace {

bool Aligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }

bool EqualLanes(__m128 a, __m128 b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

std::string CheckMesh(const CHTriangulation& m, Checks checks) {
  std::ostringstream why;
  const int n = m.NumTriangles;
  if (n < 0) return "NumTriangles is negative";
  if (!m.PointArray) return "no three-point block";
  if (!Aligned(m.PointArray)) return "three-point block not 16-byte aligned";
  if (m.pMaxPoint != m.PointArray + 1 || m.pCenterPoint != m.PointArray + 2)
    return "pMaxPoint / pCenterPoint do not point into the three-point block";
  if (n == 0) return "";

  const SSEPoint* arrays[] = {m.EdgeArray, m.NormalArray, m.MainNormalArray, m.TArray,
                              m.SArray,    m.VArray,      m.MinPointArray,   m.MaxPointArray};
  const char* names[] = {"EdgeArray", "NormalArray", "MainNormalArray", "TArray",
                         "SArray",    "VArray",      "MinPointArray",   "MaxPointArray"};
  for (int a = 0; a < 8; ++a) {
    if (!arrays[a]) return std::string(names[a]) + " is null";
    if (!Aligned(arrays[a])) return std::string(names[a]) + " is not 16-byte aligned";
  }
  if (!m.Triangles) return "Triangles is null";

  for (int i = 0; i < n; ++i) {
    const t_htriangle& t = m.Triangles[i];
    for (int k = 0; k < 3; ++k) {
      if (t.pPoint[k] != m.EdgeArray + 3 * i + k) {
        why << "triangle " << i << ": pPoint[" << k << "] does not point at EdgeArray[" << 3 * i + k << "]";
        return why.str();
      }
      if (t.pNormal[k] != m.NormalArray + 3 * i + k) {
        why << "triangle " << i << ": pNormal[" << k << "] does not point at NormalArray[" << 3 * i + k << "]";
        return why.str();
      }
    }
    const SSEPoint* single[] = {t.pT, t.pS, t.pV, t.pMainNormal, t.pMinPoint, t.pMaxPoint};
    const SSEPoint* expected[] = {m.TArray + i, m.SArray + i, m.VArray + i, m.MainNormalArray + i,
                                  m.MinPointArray + i, m.MaxPointArray + i};
    const char* fields[] = {"pT", "pS", "pV", "pMainNormal", "pMinPoint", "pMaxPoint"};
    for (int f = 0; f < 6; ++f)
      if (single[f] != expected[f]) {
        why << "triangle " << i << ": " << fields[f] << " does not point at element " << i;
        return why.str();
      }
    if (checks.neighbours)
      for (int k = 0; k < 3; ++k) {
        const t_htriangle* nb = t.pNeighbour[k];
        if (!nb) continue;
        if (nb < m.Triangles || nb >= m.Triangles + n) {
          why << "triangle " << i << ": pNeighbour[" << k << "] is not a record of this mesh";
          return why.str();
        }
        if (nb == &t) {
          why << "triangle " << i << ": pNeighbour[" << k << "] is the triangle itself";
          return why.str();
        }
      }
    if (checks.derived) {
      const __m128 p0 = m.EdgeArray[3 * i].m, p1 = m.EdgeArray[3 * i + 1].m, p2 = m.EdgeArray[3 * i + 2].m;
      const std::pair<const char*, bool> derived[] = {
          {"S != P1 - P0", EqualLanes(m.SArray[i].m, _mm_sub_ps(p1, p0))},
          {"T != P2 - P0", EqualLanes(m.TArray[i].m, _mm_sub_ps(p2, p0))},
          {"V != P2 - P1", EqualLanes(m.VArray[i].m, _mm_sub_ps(p2, p1))},
          {"minimum is not the corners' minimum", EqualLanes(m.MinPointArray[i].m, _mm_min_ps(_mm_min_ps(p0, p1), p2))},
          {"maximum is not the corners' maximum", EqualLanes(m.MaxPointArray[i].m, _mm_max_ps(_mm_max_ps(p0, p1), p2))},
      };
      for (const auto& d : derived)
        if (!d.second) {
          why << "triangle " << i << ": " << d.first;
          return why.str();
        }
    }
    if (checks.box)
      for (int k = 0; k < 3; ++k) {
        const SSEPoint& p = m.EdgeArray[3 * i + k];
        const SSEPoint& lo = m.PointArray[0];
        const SSEPoint& hi = m.PointArray[1];
        if (p.x < lo.x || p.y < lo.y || p.z < lo.z || p.x > hi.x || p.y > hi.y || p.z > hi.z) {
          why << "triangle " << i << ": corner " << k << " lies outside the bounding box";
          return why.str();
        }
      }
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
