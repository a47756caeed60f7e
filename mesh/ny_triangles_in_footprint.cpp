// Which triangles of one mesh lie within another mesh's x/y footprint.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

#include "relief/CHDecideNyTriInNyTri.h"
#include "relief/CHTriangulation.h"

namespace {

struct P2 {
  double x, y;
};

double Orient(const P2& a, const P2& b, const P2& p) { return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x); }

bool InClosedTriangle(const P2 t[3], const P2& p) {
  const double lox = std::min({t[0].x, t[1].x, t[2].x}), hix = std::max({t[0].x, t[1].x, t[2].x});
  const double loy = std::min({t[0].y, t[1].y, t[2].y}), hiy = std::max({t[0].y, t[1].y, t[2].y});
  if (p.x < lox || p.x > hix || p.y < loy || p.y > hiy) return false;
  const double s0 = Orient(t[0], t[1], p), s1 = Orient(t[1], t[2], p), s2 = Orient(t[2], t[0], p);
  return (s0 >= 0 && s1 >= 0 && s2 >= 0) || (s0 <= 0 && s1 <= 0 && s2 <= 0);
}

bool StrictlyInside(const P2 t[3], const P2& p) {
  const double s0 = Orient(t[0], t[1], p), s1 = Orient(t[1], t[2], p), s2 = Orient(t[2], t[0], p);
  return (s0 > 0 && s1 > 0 && s2 > 0) || (s0 < 0 && s1 < 0 && s2 < 0);
}

bool CrossProperly(const P2& a, const P2& b, const P2& c, const P2& d) {
  const double o1 = Orient(a, b, c), o2 = Orient(a, b, d), o3 = Orient(c, d, a), o4 = Orient(c, d, b);
  return ((o1 > 0 && o2 < 0) || (o1 < 0 && o2 > 0)) && ((o3 > 0 && o4 < 0) || (o3 < 0 && o4 > 0));
}

uint64_t Key(float x, float y) {
  x += 0.0f, y += 0.0f;  // -0 and +0 are one position
  uint32_t bx, by;
  std::memcpy(&bx, &x, sizeof bx);
  std::memcpy(&by, &y, sizeof by);
  return (static_cast<uint64_t>(bx) << 32) | by;
}

struct PairHash {
  std::size_t operator()(const std::pair<uint64_t, uint64_t>& k) const {
    return std::hash<uint64_t>()(k.first * 0x9E3779B97F4A7C15ull ^ k.second);
  }
};

// The outer mesh's triangles and border sides, filed by box in a uniform grid.
class CFootprint {
 public:
  explicit CFootprint(const CHTriangulation& mesh) {
    const int n = mesh.GetNumTriangles();
    const SSEPoint* c = mesh.GetEdgeArray();
    m_Corners.resize(3 * static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < m_Corners.size(); ++i) m_Corners[i] = {c[i].x, c[i].y};
    std::unordered_map<std::pair<uint64_t, uint64_t>, std::pair<int, int>, PairHash> sides;  // count, first side
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < 3; ++k) {
        const SSEPoint& a = c[3 * i + k];
        const SSEPoint& b = c[3 * i + (k + 1) % 3];
        uint64_t ka = Key(a.x, a.y), kb = Key(b.x, b.y);
        if (ka > kb) std::swap(ka, kb);
        auto [it, fresh] = sides.emplace(std::make_pair(ka, kb), std::make_pair(0, 3 * i + k));
        ++it->second.first;
      }
    for (const auto& entry : sides)
      if (entry.second.first == 1) {
        const int s = entry.second.second, i = s / 3, k = s % 3;
        m_Border.push_back({m_Corners[static_cast<std::size_t>(s)], m_Corners[static_cast<std::size_t>(3 * i + (k + 1) % 3)]});
      }
    m_X0 = m_Y0 = HUGE_VAL;
    double x1 = -HUGE_VAL, y1 = -HUGE_VAL;
    for (const P2& p : m_Corners) {
      m_X0 = std::min(m_X0, p.x), m_Y0 = std::min(m_Y0, p.y);
      x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
    }
    m_X1 = x1, m_Y1 = y1;
    m_N = std::clamp(static_cast<int>(std::sqrt(static_cast<double>(n))), 1, 1024);
    m_SX = x1 > m_X0 ? m_N / (x1 - m_X0) : 0.0;
    m_SY = y1 > m_Y0 ? m_N / (y1 - m_Y0) : 0.0;
    m_Triangles.resize(static_cast<std::size_t>(m_N) * m_N);
    m_Sides.resize(m_Triangles.size());
    for (int i = 0; i < n; ++i) {
      const P2* t = &m_Corners[3 * static_cast<std::size_t>(i)];
      ForCells(std::min({t[0].x, t[1].x, t[2].x}), std::min({t[0].y, t[1].y, t[2].y}), std::max({t[0].x, t[1].x, t[2].x}),
               std::max({t[0].y, t[1].y, t[2].y}), [&](std::vector<int>& cell, std::vector<int>&) { cell.push_back(i); });
    }
    for (std::size_t s = 0; s < m_Border.size(); ++s) {
      const P2& a = m_Border[s].first;
      const P2& b = m_Border[s].second;
      ForCells(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y),
               [&](std::vector<int>&, std::vector<int>& cell) { cell.push_back(static_cast<int>(s)); });
    }
  }

  bool Holds(const P2& p) const {
    if (p.x < m_X0 || p.x > m_X1 || p.y < m_Y0 || p.y > m_Y1) return false;
    for (int i : m_Triangles[Cell(p.x, p.y)])
      if (InClosedTriangle(&m_Corners[3 * static_cast<std::size_t>(i)], p)) return true;
    return false;
  }

  bool Covers(const P2 t[3]) const {
    const P2 centroid{(t[0].x + t[1].x + t[2].x) / 3.0, (t[0].y + t[1].y + t[2].y) / 3.0};
    if (!Holds(t[0]) || !Holds(t[1]) || !Holds(t[2]) || !Holds(centroid)) return false;
    bool clear = true;
    ForCells(std::min({t[0].x, t[1].x, t[2].x}), std::min({t[0].y, t[1].y, t[2].y}), std::max({t[0].x, t[1].x, t[2].x}),
             std::max({t[0].y, t[1].y, t[2].y}), [&](const std::vector<int>&, const std::vector<int>& cell) {
               for (int s : cell) {
                 if (!clear) return;
                 const P2& a = m_Border[static_cast<std::size_t>(s)].first;
                 const P2& b = m_Border[static_cast<std::size_t>(s)].second;
                 if (StrictlyInside(t, a) || StrictlyInside(t, b)) clear = false;
                 for (int k = 0; k < 3 && clear; ++k)
                   if (CrossProperly(t[k], t[(k + 1) % 3], a, b)) clear = false;
               }
             });
    return clear;
  }

 private:
  int Index(double v, double lo, double scale) const {
    return std::clamp(static_cast<int>((v - lo) * scale), 0, m_N - 1);
  }
  std::size_t Cell(double x, double y) const {
    return static_cast<std::size_t>(Index(y, m_Y0, m_SY)) * m_N + Index(x, m_X0, m_SX);
  }
  // Calls f(triangles, sides) for every cell the box touches.
  template <class F>
  void ForCells(double x0, double y0, double x1, double y1, F f) {
    ForCellsOf(*this, x0, y0, x1, y1, f);
  }
  template <class F>
  void ForCells(double x0, double y0, double x1, double y1, F f) const {
    ForCellsOf(*this, x0, y0, x1, y1, f);
  }
  template <class Self, class F>
  static void ForCellsOf(Self& self, double x0, double y0, double x1, double y1, F& f) {
    for (int iy = self.Index(y0, self.m_Y0, self.m_SY); iy <= self.Index(y1, self.m_Y0, self.m_SY); ++iy)
      for (int ix = self.Index(x0, self.m_X0, self.m_SX); ix <= self.Index(x1, self.m_X0, self.m_SX); ++ix) {
        const std::size_t cell = static_cast<std::size_t>(iy) * self.m_N + ix;
        f(self.m_Triangles[cell], self.m_Sides[cell]);
      }
  }

  std::vector<P2> m_Corners;
  std::vector<std::pair<P2, P2>> m_Border;
  std::vector<std::vector<int>> m_Triangles, m_Sides;
  double m_X0, m_Y0, m_X1, m_Y1, m_SX, m_SY;
  int m_N;
};

}  // namespace

int CHDecideNyTriInNyTri::Decide(CHTriangulation* inner, CHTriangulation* outer) {
  m_Inside.clear();
  m_nInside = 0;
  if (!inner || inner->GetNumTriangles() <= 0 || !inner->GetEdgeArray()) return 0;
  m_Inside.assign(static_cast<std::size_t>(inner->GetNumTriangles()), 0);
  if (!outer || outer->GetNumTriangles() <= 0 || !outer->GetEdgeArray()) return 0;
  const CFootprint footprint(*outer);
  const SSEPoint* c = inner->GetEdgeArray();
  for (std::size_t i = 0; i < m_Inside.size(); ++i) {
    const P2 t[3] = {{c[3 * i].x, c[3 * i].y}, {c[3 * i + 1].x, c[3 * i + 1].y}, {c[3 * i + 2].x, c[3 * i + 2].y}};
    if (footprint.Covers(t)) m_Inside[i] = 1, ++m_nInside;
  }
  return m_nInside;
}

int CHDecideNyTriInNyTri::Decide(NyTriangulationStatic*, NyTriangulationStatic*) {
  m_Inside.clear();
  m_nInside = 0;
  return 0;
}

int CHDecideNyTriInNyTri::Decide(NyTriangulationDynamic*, NyTriangulationDynamic*) {
  m_Inside.clear();
  m_nInside = 0;
  return 0;
}
