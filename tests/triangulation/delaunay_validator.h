#pragma once

// The Delaunay validator: checks a finished triangle list of a
// TaCIncrementalDelaunay2D and returns "" or a description of the first
// violated property, naming the triangle (its position in the list and its
// corners) or the vertex. No test framework: the unit tests wrap it, the
// fuzz target aborts on it.
//
// Properties, in the order they are checked:
//  1. records: corners in range and distinct, no kill mark, no triangle
//     twice, the list's count equals its links;
//  2. orientation: every triangle strictly counter-clockwise by the exact
//     sign of its orientation determinant;
//  3. neighbours: a neighbour is in the list, carries the side and points
//     back; a side without neighbour belongs to no other triangle, and no
//     side belongs to more than two;
//  4. tiling: the triangles' area sum equals the area of the convex hull of
//     the vertices (computed here by a monotone chain), and every open side
//     has the hull vertices on its left, both up to the side tolerance;
//  5. coverage: every vertex the caller names as input is a corner, unless
//     it repeats a corner's coordinates or lies within the side tolerance
//     of a side (beside the side, not beyond its ends), in the final list
//     or, when the start is known, in the triangulation the point met. The
//     insertion leaves out a point within the tolerance of two sides of the
//     triangle holding it (next to a corner, or anywhere in a thin
//     triangle), and one that the float circle of the triangle holding it
//     misses (next to a corner, where the circle's rounding exceeds the
//     tolerance: from coordinates of about 100 on); later points may split
//     or flip that triangle away;
//  6. circles: no corner opposite a side lies inside the triangle's
//     circumcircle by more than the rounding of the float circle allows,
//     unless the legalisation's pass limit (the vertex count) explains it:
//     when the start is known, the same input with a far higher limit must
//     then pass (with one of eight consecutive limits, as a cycle cut by the
//     limit stops in whichever of its states the limit falls on).
// Rules 4 and 5 hold for a whole triangulation only; a caller that cut
// triangles out turns them off.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "test_hull_reference.h"

namespace delaunay_validator {

// ---- exact orientation of float points ---------------------------------------
// Float coordinates are exact in double; differences and products are split
// into error-free pairs and the sixteen terms summed into a non-overlapping
// expansion, whose largest component has the sign of the exact value.

inline void TwoSum(double a, double b, double& x, double& y) {
  x = a + b;
  const double bv = x - a, av = x - bv;
  y = (a - av) + (b - bv);
}

inline void TwoProduct(double a, double b, double& x, double& y) {
  x = a * b;
  y = std::fma(a, b, -x);
}

// Sign of (b - a) x (c - a): +1 counter-clockwise, -1 clockwise, 0 collinear.
inline int ExactOrientation(float ax, float ay, float bx, float by, float cx, float cy) {
  double e[2][2][2];  // [difference][x or y][high, low]
  TwoSum(bx, -static_cast<double>(ax), e[0][0][0], e[0][0][1]);
  TwoSum(by, -static_cast<double>(ay), e[0][1][0], e[0][1][1]);
  TwoSum(cx, -static_cast<double>(ax), e[1][0][0], e[1][0][1]);
  TwoSum(cy, -static_cast<double>(ay), e[1][1][0], e[1][1][1]);
  double terms[16];
  int n = 0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j) {
      TwoProduct(e[0][0][i], e[1][1][j], terms[n], terms[n + 1]);
      n += 2;
      TwoProduct(-e[0][1][i], e[1][0][j], terms[n], terms[n + 1]);
      n += 2;
    }
  // Grow a non-overlapping expansion one term at a time.
  double h[17];
  int m = 0;
  for (double b : terms) {
    double q = b;
    int k = 0;
    for (int i = 0; i < m; ++i) {
      double sum, err;
      TwoSum(q, h[i], sum, err);
      if (err != 0.0) h[k++] = err;
      q = sum;
    }
    h[k++] = q;
    m = k;
  }
  for (int i = m - 1; i >= 0; --i)
    if (h[i] != 0.0) return h[i] > 0.0 ? 1 : -1;
  return 0;
}

// The cross product the triangulator compares with its side tolerance:
// formed in double, rounded to float.
inline float SideValue(const SSEPoint& a, const SSEPoint& b, float px, float py) {
  return static_cast<float>((static_cast<double>(py) - a.y) * (static_cast<double>(b.x) - a.x) -
                            (static_cast<double>(b.y) - a.y) * (static_cast<double>(px) - a.x));
}

// Twice the signed area of (a, b, p) in long double: exact for float corners
// of moderate extent, ample for the tolerances below.
inline long double Area2(const SSEPoint& a, const SSEPoint& b, const SSEPoint& p) {
  return ((long double)b.x - a.x) * ((long double)p.y - a.y) - ((long double)b.y - a.y) * ((long double)p.x - a.x);
}

// ---- the float circle's rounding ----------------------------------------------

// How far inside the exact circumcircle of (a, b, c) a point may lie and
// still fail the triangulator's float test. The float circle is formed from
// squares of the absolute coordinates: each of h and k carries an error of a
// few units of roundoff times the largest squared coordinate M^2, the
// determinant d a few units times the squared edge extent L^2, and the centre
// errs by about (2 L err(h) + |C| err(d)) / |d|. A point is misjudged when it
// lies within twice that (the radius is measured from the float centre too)
// plus the rounding of the squared distances. A factor of four covers the
// sloppiness of the estimate. Returns infinity when the float determinant may
// be off by half its value (slivers: their float circle carries no meaning).
inline long double FloatCircleSlack(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, long double centreX,
                                    long double centreY, long double radius) {
  const long double u = std::ldexp(1.0L, -24);
  long double m = 0, l = 0;
  for (const SSEPoint* p : {&a, &b, &c}) m = std::max({m, std::fabs((long double)p->x), std::fabs((long double)p->y)});
  for (const auto& [p, q] : {std::pair{&a, &b}, std::pair{&b, &c}, std::pair{&c, &a}})
    l = std::max({l, std::fabs((long double)p->x - q->x), std::fabs((long double)p->y - q->y)});
  const long double det = std::fabs(Area2(a, b, c));
  const long double errH = 4 * u * m * m, errD = 6 * u * l * l;
  if (!(det > 2 * errD)) return INFINITY;
  const long double centre = std::hypot(centreX, centreY);
  const long double errCentre = (2 * l * errH + centre * errD) / (det - errD) + 2 * u * centre;
  return 4 * (2 * errCentre + 4 * u * (centre + radius)) + 1e-30L;
}

// ---- the validator ---------------------------------------------------------------

struct Options {
  // Vertices [firstInput, firstInput + inputCount) must be corners (rule 5);
  // inputCount < 0: every vertex of the container.
  int firstInput = 0;
  int inputCount = -1;
  bool checkCircles = true;
  bool checkTiling = true;  // rules 4 and 5
  // How the list was started. When known, a vertex left out is also excused
  // by the state it met: the vertices before it triangulated the same way
  // (the container must hold the input vertices first, as Triangulate
  // leaves them).
  enum Start { kUnknown, kFirstThree, kBox } start = kUnknown;
  // Set on the re-run that raises the legalisation's pass limit.
  bool passLimitRaised = false;
};

inline std::string Describe(const TaCIncrementalDelaunay2D& d, int position, const t_hdelaunaytriangle* t) {
  std::string s = "triangle " + std::to_string(position) + " (";
  for (int k = 0; k < 3; ++k) {
    const int v = t->nVertex[k];
    s += std::to_string(v);
    if (v >= 0 && v < d.GetNumVertices()) {
      const SSEPoint p = d.GetVertex(v);
      char buf[64];
      std::snprintf(buf, sizeof buf, " at %.9g, %.9g", p.x, p.y);
      s += buf;
    }
    s += k < 2 ? "; " : ")";
  }
  return s;
}

// True when p lies within the side tolerance of a side of the list (beside
// the side, not beyond its ends).
inline bool NearASide(const TaCIncrementalDelaunay2D& d, const CDelaunayTriangleList& list, const SSEPoint& p) {
  for (const t_hdelaunaytriangle* t : list)
    for (int k = 0; k < 3; ++k) {
      const SSEPoint a = d.GetVertex(t->nVertex[k]), b = d.GetVertex(t->nVertex[(k + 1) % 3]);
      const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
      const double along =
          ((p.x - static_cast<double>(a.x)) * ex + (p.y - static_cast<double>(a.y)) * ey) / (ex * ex + ey * ey);
      if (std::fabs(SideValue(a, b, p.x, p.y)) < 0.005f && along >= 0.0 && along <= 1.0) return true;
    }
  return false;
}

// True when p lies next to a triangle of the list (no side value below minus
// the tolerance) with two side values within the tolerance: near a corner,
// or anywhere in a thin triangle. The insertion reports such a point
// outside on purpose rather than making a sliver, from whichever triangle
// it is asked, so the point stays out.
inline bool NearTwoSides(const TaCIncrementalDelaunay2D& d, const CDelaunayTriangleList& list, const SSEPoint& p) {
  for (const t_hdelaunaytriangle* t : list) {
    int small = 0;
    bool beside = true;
    for (int k = 0; k < 3; ++k) {
      const float s = SideValue(d.GetVertex(t->nVertex[k]), d.GetVertex(t->nVertex[(k + 1) % 3]), p.x, p.y);
      beside = beside && s > -0.005f;
      small += std::fabs(s) < 0.005f;
    }
    if (beside && small >= 2) return true;
  }
  return false;
}

// True when every triangle of the working list that would take the vertex
// (inside or on a side) has a float circle that misses it: the point search
// finds triangles by their float circles only.
inline bool MissedByFloatCircles(TaCIncrementalDelaunay2D& d, int vertex) {
  for (t_hdelaunaytriangle* t : d.GetTriangleList())
    if (d.PointWhere(vertex, t) != ePointOutside && d.InCircumCircle(vertex, t)) return false;
  return true;
}

inline std::string Validate(const TaCIncrementalDelaunay2D& d, const CDelaunayTriangleList& list, const Options& opt);

// Fills `to` with the first `count` vertices of d, then `padding` copies of
// vertex 0 (never inserted: they only raise the pass limit).
inline void CopyVertices(const TaCIncrementalDelaunay2D& d, int count, int padding, TaCIncrementalDelaunay2D& to) {
  to.CreateVertexArray(count + padding + 4);
  for (int i = 0; i < count + padding; ++i) {
    SSEPoint q = d.GetVertex(i < count ? i : 0);
    to.AppendVertex(q);
  }
}

// True when the inputs, triangulated the same way with a pass limit far above
// the vertex count, give a list that passes every check. A flip cycle that
// runs into the limit stops in whichever of its states the limit falls on,
// so eight consecutive limits are tried: one that lands in a bad state
// again does not make the cycle a defect.
inline bool PassLimitExplains(const TaCIncrementalDelaunay2D& d, const Options& opt) {
  const int inputs = opt.firstInput + (opt.inputCount < 0 ? d.GetNumVertices() - opt.firstInput : opt.inputCount);
  for (int extra = 0; extra < 8; ++extra) {
    const int padding = 8 * d.GetNumVertices() + 64 + extra;
    TaCIncrementalDelaunay2D padded;
    CopyVertices(d, inputs, padding, padded);
    padded.Triangulate(inputs, true, opt.start == Options::kBox);
    Options again = opt;
    again.passLimitRaised = true;
    if (Validate(padded, padded.GetFinalTriangleList(), again).empty()) return true;
  }
  return false;
}

inline std::string Validate(const TaCIncrementalDelaunay2D& d, const CDelaunayTriangleList& list,
                            const Options& opt = {}) {
  const int nv = d.GetNumVertices();
  std::vector<const t_hdelaunaytriangle*> tris;
  std::unordered_map<const t_hdelaunaytriangle*, int> position;
  for (t_hdelaunaytriangle* t : list) {
    if (static_cast<int>(tris.size()) > list.GetCount()) return "records: the list's links run past its count";
    position.emplace(t, static_cast<int>(tris.size()));
    tris.push_back(t);
  }
  if (static_cast<int>(tris.size()) != list.GetCount() || position.size() != tris.size())
    return "records: the list's count differs from its distinct links";
  const auto vx = [&](int v) { return d.GetVertex(v); };

  // 1, 2: records and orientation.
  std::map<std::array<int, 3>, std::size_t> seen;
  for (std::size_t i = 0; i < tris.size(); ++i) {
    const t_hdelaunaytriangle* t = tris[i];
    const int* v = t->nVertex;
    const std::string who = Describe(d, static_cast<int>(i), t);
    for (int k = 0; k < 3; ++k)
      if (v[k] < 0 || v[k] >= nv) return "records: " + who + " has a corner out of range";
    if (v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) return "records: " + who + " repeats a corner";
    if (t->bKill) return "records: " + who + " carries the kill mark";
    std::array<int, 3> key{v[0], v[1], v[2]};
    std::sort(key.begin(), key.end());
    if (const auto [at, fresh] = seen.emplace(key, i); !fresh)
      return "records: " + who + " repeats triangle " + std::to_string(at->second);
    const SSEPoint a = vx(v[0]), b = vx(v[1]), c = vx(v[2]);
    if (ExactOrientation(a.x, a.y, b.x, b.y, c.x, c.y) <= 0) return "orientation: " + who + " is not counter-clockwise";
  }

  // 3: neighbours, and how many triangles carry each side.
  std::unordered_map<uint64_t, int> sideUse;
  const auto sideKey = [](int p, int q) { return (uint64_t(std::min(p, q)) << 32) | uint32_t(std::max(p, q)); };
  for (const t_hdelaunaytriangle* t : tris)
    for (int k = 0; k < 3; ++k) ++sideUse[sideKey(t->nVertex[k], t->nVertex[(k + 1) % 3])];
  for (std::size_t i = 0; i < tris.size(); ++i) {
    const t_hdelaunaytriangle* t = tris[i];
    for (int k = 0; k < 3; ++k) {
      const int p = t->nVertex[k], q = t->nVertex[(k + 1) % 3];
      const std::string who = Describe(d, static_cast<int>(i), t) + " side " + std::to_string(k);
      const int use = sideUse[sideKey(p, q)];
      if (use > 2) return "neighbours: " + who + " is shared by " + std::to_string(use) + " triangles";
      const t_hdelaunaytriangle* n = t->pNeighbour[k];
      if (!n) {
        if (use != 1) return "neighbours: " + who + " has no neighbour but another triangle carries it";
        continue;
      }
      if (!position.count(n)) return "neighbours: " + who + " points to a record outside the list";
      int back = -1;
      for (int r = 0; r < 3; ++r)
        if (TaCIncrementalDelaunay2D::EdgesEqual(p, q, n->nVertex[r], n->nVertex[(r + 1) % 3])) back = r;
      if (back < 0) return "neighbours: " + who + ": the neighbour lacks the side";
      if (n->pNeighbour[back] != t) return "neighbours: " + who + ": the neighbour does not point back";
    }
  }

  // 4: tiling. The hull of every vertex in use or named as input.
  std::vector<char> corner(static_cast<std::size_t>(nv), 0);
  for (const t_hdelaunaytriangle* t : tris)
    for (int v : t->nVertex) corner[static_cast<std::size_t>(v)] = 1;
  const int first = opt.firstInput;
  const int count = !opt.checkTiling ? 0 : opt.inputCount < 0 ? nv - opt.firstInput : opt.inputCount;
  struct Corner {
    float x, y;
    int v;
    bool operator<(const Corner& o) const { return x != o.x ? x < o.x : y < o.y; }
    bool operator==(const Corner& o) const { return x == o.x && y == o.y; }
  };
  std::vector<Corner> hullInput;
  for (int v = 0; v < nv; ++v)
    if (corner[static_cast<std::size_t>(v)] || (v >= first && v < first + count))
      hullInput.push_back({vx(v).x, vx(v).y, v});
  const auto exact = [](const Corner& o, const Corner& p, const Corner& q) {
    return ExactOrientation(o.x, o.y, p.x, p.y, q.x, q.y);
  };
  std::vector<int> hull;
  for (const Corner& c : MonotoneChainHull(hullInput, exact)) hull.push_back(c.v);
  long double hullArea = 0, triArea = 0, extent = 0;
  for (std::size_t i = 0; i < hull.size(); ++i) {
    const SSEPoint a = vx(hull[i]);
    hullArea += Area2(vx(hull[0]), a, vx(hull[(i + 1) % hull.size()])) / 2;
    extent = std::max({extent, std::fabs((long double)a.x), std::fabs((long double)a.y)});
  }
  for (const t_hdelaunaytriangle* t : tris)
    triArea += Area2(vx(t->nVertex[0]), vx(t->nVertex[1]), vx(t->nVertex[2])) / 2;
  // Each open side may miss the hull by the side tolerance (a point taken
  // onto a hull side within it), plus the rounding of the sums.
  int openSides = 0;
  for (const auto& [key, use] : sideUse) openSides += use == 1;
  const long double areaSlack = 0.005L * (openSides + 1) + 1e-12L * (1 + extent * extent) * (tris.size() + 1);
  if (opt.checkTiling && hull.size() >= 3 && std::fabs(triArea - hullArea) > areaSlack) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "tiling: the triangles cover %.9Lg but the hull's area is %.9Lg", triArea, hullArea);
    return buf;
  }
  for (std::size_t i = 0; opt.checkTiling && i < tris.size(); ++i) {
    const t_hdelaunaytriangle* t = tris[i];
    for (int k = 0; k < 3; ++k) {
      if (t->pNeighbour[k]) continue;
      const SSEPoint a = vx(t->nVertex[k]), b = vx(t->nVertex[(k + 1) % 3]);
      const long double len = std::hypot((long double)b.x - a.x, (long double)b.y - a.y);
      for (int v : hull) {
        if (Area2(a, b, vx(v)) < -(0.0051L + 1e-12L * extent * (len + extent)))
          return "tiling: hull vertex " + std::to_string(v) + " lies outside the open side " + std::to_string(k) +
                 " of " + Describe(d, static_cast<int>(i), t);
      }
    }
  }

  // 5: coverage.
  for (int v = first; v < first + count && v < nv; ++v) {
    if (corner[static_cast<std::size_t>(v)]) continue;
    const SSEPoint p = vx(v);
    bool excused = false;
    for (int w = 0; w < nv && !excused; ++w)
      excused = corner[static_cast<std::size_t>(w)] && vx(w).x == p.x && vx(w).y == p.y;
    if (!excused) excused = NearASide(d, list, p);
    if (!excused && opt.start != Options::kUnknown) {
      // The state the point met: the same vertices triangulated up to it.
      TaCIncrementalDelaunay2D before;
      CopyVertices(d, std::min(first + count, nv), 0, before);
      before.Triangulate(v, false, opt.start == Options::kBox);
      excused = NearASide(before, before.GetTriangleList(), p) || NearTwoSides(before, before.GetTriangleList(), p) ||
                MissedByFloatCircles(before, v);
    }
    if (!excused) {
      char buf[160];
      std::snprintf(buf, sizeof buf, "coverage: vertex %d at %.9g, %.9g is not a corner of any triangle", v, p.x, p.y);
      return buf;
    }
  }

  // 6: circles, across every inner side.
  if (!opt.checkCircles) return "";
  for (std::size_t i = 0; i < tris.size(); ++i) {
    const t_hdelaunaytriangle* t = tris[i];
    const SSEPoint a = vx(t->nVertex[0]), b = vx(t->nVertex[1]), c = vx(t->nVertex[2]);
    const long double bx = (long double)b.x - a.x, by = (long double)b.y - a.y;
    const long double cx = (long double)c.x - a.x, cy = (long double)c.y - a.y;
    const long double det2 = 2 * (bx * cy - by * cx);
    const long double b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
    const long double ux = (cy * b2 - by * c2) / det2, uy = (bx * c2 - cx * b2) / det2;
    const long double radius = std::hypot(ux, uy);
    const long double slack = FloatCircleSlack(a, b, c, a.x + ux, a.y + uy, radius);
    for (int k = 0; k < 3; ++k) {
      const t_hdelaunaytriangle* n = t->pNeighbour[k];
      if (!n) continue;
      for (int r = 0; r < 3; ++r) {
        const int o = n->nVertex[r];
        if (o == t->nVertex[0] || o == t->nVertex[1] || o == t->nVertex[2]) continue;
        const SSEPoint q = vx(o);
        const long double depth = radius - std::hypot((long double)q.x - a.x - ux, (long double)q.y - a.y - uy);
        if (depth > slack) {
          // The legalisation stops after as many passes as there are
          // vertices; a flip cycle among nearly co-circular corners can use
          // them up and leave other sides unflipped. The same input with a
          // higher limit (the container padded with unused copies of a
          // vertex) tells whether that limit is why.
          if (opt.start != Options::kUnknown && !opt.passLimitRaised && PassLimitExplains(d, opt)) return "";
          char buf[200];
          std::snprintf(buf, sizeof buf,
                        ": vertex %d lies %.6Lg inside its circle of radius %.6Lg (rounding allows %.3Lg)", o, depth,
                        radius, slack);
          return "circles: " + Describe(d, static_cast<int>(i), t) + buf;
        }
      }
    }
  }
  return "";
}

}  // namespace delaunay_validator
