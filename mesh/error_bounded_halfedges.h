#pragma once

// The Delaunay triangulation behind the error-bounded mesher: points on
// integer pixel positions, triangles as three half-edges in flat arrays.
// Half-edge e belongs to triangle e / 3; it runs from Start(e) to
// Start(Next(e)); Twin(e) is the same edge seen from the neighbour, or -1 on
// the hull. Triangles are counter-clockwise (positive Orient). Points are
// only ever added inside the starting box, so the hull stays the box and no
// triangle is ever deleted: inserting a point splits one triangle into three,
// or the two triangles of an edge into four, and flips restore the Delaunay
// property around the new point. With integer coordinates both predicates are
// exact.

#include <cstdint>
#include <vector>

namespace relief::detail {

class CHalfEdgeTriangulation {
 public:
  // The box (0, 0) .. (width - 1, height - 1), width and height >= 2, as two
  // triangles split on the (0, 0)-(w-1, h-1) diagonal; corner heights in the
  // order (0, 0), (w-1, 0), (w-1, h-1), (0, h-1), which become points 0 to 3.
  void StartWithBox(int width, int height, const float cornerHeights[4]);

  // Where (x, y), known to lie in triangle t (edges included, not on a
  // corner), sits: -1 strictly inside, k when on the edge of half-edge 3t + k.
  int Locate(int t, int x, int y) const;
  // Triangles an insertion at a Locate result adds: 1 on a hull edge, else 2.
  int TrianglesAddedBy(int t, int where) const;

  // Inserts the point (x, y, z) at the place Locate found in triangle t, then
  // flips until Delaunay. Every triangle created or changed is appended to
  // changed (possibly more than once).
  void Insert(int t, int where, int x, int y, float z, std::vector<std::int32_t>& changed);

  int NumTriangles() const { return static_cast<int>(m_start.size() / 3); }
  int NumPoints() const { return static_cast<int>(m_x.size()); }
  std::int32_t Corner(int t, int k) const { return m_start[3 * t + k]; }
  std::int32_t Twin(int e) const { return m_twin[e]; }
  int X(int p) const { return m_x[p]; }
  int Y(int p) const { return m_y[p]; }
  float Z(int p) const { return m_z[p]; }

  static int Next(int e) { return e % 3 == 2 ? e - 2 : e + 1; }
  static int Prev(int e) { return e % 3 == 0 ? e + 2 : e - 1; }

  // Twice the signed area of (a, b, c): > 0 counter-clockwise.
  std::int64_t Orient(int a, int b, int c) const;
  // > 0 when d lies strictly inside the circumcircle of the counter-clockwise a, b, c.
  bool InCircle(int a, int b, int c, int d) const;

 private:
  int AddPoint(int x, int y, float z);
  int AddTriangle();
  void SetTriangle(int t, int a, int b, int c);
  void Link(int e, int f);
  void SplitTriangle(int t, int p, std::vector<std::int32_t>& changed);
  void SplitEdge(int e, int p, std::vector<std::int32_t>& changed);
  int SplitHalf(int e, int p, std::vector<std::int32_t>& changed);
  // Flips half-edge e (whose triangle holds the new point p opposite it) and
  // the edges that become illegal after, until none is left.
  void Legalize(int e, std::vector<std::int32_t>& changed);

  std::vector<std::int32_t> m_x, m_y;
  std::vector<float> m_z;
  std::vector<std::int32_t> m_start;  // per half-edge: its first point
  std::vector<std::int32_t> m_twin;   // per half-edge: the opposite half-edge or -1
  std::vector<std::int32_t> m_stack;  // legalisation work list
};

}  // namespace relief::detail
