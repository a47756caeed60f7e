// Refinement of ear-clipped triangles by conforming midpoint splits.

#include <array>
#include <cmath>
#include <cstdint>
#include <new>
#include <unordered_map>
#include <vector>

#include "relief/CHPolygonTriangulationRefinement.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CMemoryException.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/SafeMemory.h"

namespace {

using Tri = std::array<std::int32_t, 3>;

struct Mesh {
  std::vector<SSEPoint> points;
  std::vector<Tri> triangles;
};

double PlanarLength(const SSEPoint& a, const SSEPoint& b) {
  const double dx = static_cast<double>(b.x) - a.x;
  const double dy = static_cast<double>(b.y) - a.y;
  return std::sqrt(dx * dx + dy * dy);
}

std::uint64_t EdgeKey(std::int32_t u, std::int32_t v) {
  const auto lo = static_cast<std::uint32_t>(u < v ? u : v);
  const auto hi = static_cast<std::uint32_t>(u < v ? v : u);
  return (static_cast<std::uint64_t>(hi) << 32) | lo;
}

Mesh Gather(const CHPolygonTriangulator& t) {
  Mesh m;
  const int nv = t.GetNumVertices();
  m.points.resize(static_cast<std::size_t>(nv));
  for (int i = 0; i < nv; ++i) {
    SSEPoint& p = m.points[static_cast<std::size_t>(i)];
    p.m = _mm_setzero_ps();
    if (t.Is3DTriangulation()) {
      t.GetPolygon3D()->GetPointSSE(i * t.GetStep(), p);
    } else {
      t.GetPoint(i, p.x, p.y);
    }
  }
  const t_htriangleconnectivity* c = t.GetConnectivityArray();
  for (int i = 0; i < t.GetNumTriangles(); ++i) m.triangles.push_back({c[i].Vertex[0], c[i].Vertex[1], c[i].Vertex[2]});
  return m;
}

// One round: cuts every edge longer than the limit at its midpoint and
// re-cuts the triangles. Returns false when no edge was long.
bool SplitRound(Mesh& m, double limit) {
  std::unordered_map<std::uint64_t, std::int32_t> mid;
  for (const Tri& t : m.triangles) {
    for (int k = 0; k < 3; ++k) {
      const std::int32_t u = t[k], v = t[(k + 1) % 3];
      if (PlanarLength(m.points[u], m.points[v]) <= limit) continue;
      auto inserted = mid.emplace(EdgeKey(u, v), static_cast<std::int32_t>(m.points.size()));
      if (inserted.second) {
        // The midpoint in 3D: z follows the edge linearly.
        SSEPoint p;
        p.m = _mm_mul_ps(_mm_add_ps(m.points[u].m, m.points[v].m), _mm_set1_ps(0.5f));
        m.points.push_back(p);
      }
    }
  }
  if (mid.empty()) return false;

  auto midpoint = [&](std::int32_t u, std::int32_t v) {
    const auto it = mid.find(EdgeKey(u, v));
    return it == mid.end() ? -1 : it->second;
  };
  std::vector<Tri> out;
  out.reserve(m.triangles.size() * 3);
  for (const Tri& t : m.triangles) {
    const std::int32_t s[3] = {midpoint(t[0], t[1]), midpoint(t[1], t[2]), midpoint(t[2], t[0])};
    const int split = (s[0] >= 0) + (s[1] >= 0) + (s[2] >= 0);
    if (split == 0) {
      out.push_back(t);
    } else if (split == 3) {
      out.push_back({t[0], s[0], s[2]});
      out.push_back({s[0], t[1], s[1]});
      out.push_back({s[2], s[1], t[2]});
      out.push_back({s[0], s[1], s[2]});
    } else if (split == 1) {
      // Rotate so that the split edge is (a, b) and c is opposite.
      const int k = s[0] >= 0 ? 0 : (s[1] >= 0 ? 1 : 2);
      const std::int32_t a = t[k], b = t[(k + 1) % 3], c = t[(k + 2) % 3], mab = s[k];
      out.push_back({a, mab, c});
      out.push_back({mab, b, c});
    } else {
      // Rotate so that (c, a) is the edge left whole: (a, b) and (b, c) are split.
      const int k = s[0] < 0 ? 1 : (s[1] < 0 ? 2 : 0);
      const std::int32_t a = t[k], b = t[(k + 1) % 3], c = t[(k + 2) % 3];
      const std::int32_t mab = s[k], mbc = s[(k + 1) % 3];
      out.push_back({mab, b, mbc});
      // The quad a, mab, mbc, c is cut on its shorter diagonal.
      if (PlanarLength(m.points[a], m.points[mbc]) <= PlanarLength(m.points[mab], m.points[c])) {
        out.push_back({a, mab, mbc});
        out.push_back({a, mbc, c});
      } else {
        out.push_back({a, mab, c});
        out.push_back({mab, mbc, c});
      }
    }
    if (out.size() > static_cast<std::size_t>(CHPolygonTriangulationRefinement::kMaxTriangles))
      AfxThrowMemoryException();
  }
  m.triangles.swap(out);
  return true;
}

}  // namespace

CHPolygonTriangulationRefinement::CHPolygonTriangulationRefinement(CHPolygonTriangulator* triangulator,
                                                                   float maxEdgeLength, int maxRounds) {
  if (!triangulator) return;
  Mesh m;
  try {
    m = Gather(*triangulator);
    if (maxEdgeLength > 0.0f) {
      while (m_nNumRounds < maxRounds && SplitRound(m, maxEdgeLength)) ++m_nNumRounds;
    }
  } catch (const CMemoryException&) {
    throw;
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }

  // The chain in triangle order.
  t_hrefinedtriangle** link = &m_pFirst;
  for (const Tri& t : m.triangles) {
    auto* r = static_cast<t_hrefinedtriangle*>(SafeAlignedAlloc(sizeof(t_hrefinedtriangle), 16));
    for (int k = 0; k < 3; ++k) r->Point[k] = m.points[t[k]];
    r->pNext = nullptr;
    *link = r;
    link = &r->pNext;
    ++m_nNumTriangles;
  }
}

CHPolygonTriangulationRefinement::~CHPolygonTriangulationRefinement() { ReleaseTriangles(); }

bool CHPolygonTriangulationRefinement::GetFirstTriangle3D(SSEPoint& p0, SSEPoint& p1, SSEPoint& p2) {
  m_pCurrent = m_pFirst;
  if (!m_pCurrent) return false;
  p0 = m_pCurrent->Point[0];
  p1 = m_pCurrent->Point[1];
  p2 = m_pCurrent->Point[2];
  return true;
}

bool CHPolygonTriangulationRefinement::GetNextTriangle3D(SSEPoint& p0, SSEPoint& p1, SSEPoint& p2) {
  if (!m_pCurrent || !m_pCurrent->pNext) return false;
  m_pCurrent = m_pCurrent->pNext;
  p0 = m_pCurrent->Point[0];
  p1 = m_pCurrent->Point[1];
  p2 = m_pCurrent->Point[2];
  return true;
}

void CHPolygonTriangulationRefinement::ReleaseTriangles() {
  t_hrefinedtriangle* r = m_pFirst;
  while (r) {
    t_hrefinedtriangle* following = r->pNext;
    SafeAlignedFree(r);
    r = following;
  }
  m_pFirst = m_pCurrent = nullptr;
  m_nNumTriangles = 0;
}
