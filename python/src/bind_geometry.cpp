// Point-set geometry: Delaunay triangulation, 2D and 3D convex hulls, and
// ear-clipping triangulation of simple polygons. Every result refers to the
// caller's points by index.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <unordered_set>
#include <vector>

#include "field_convert.h"

#include "relief/CHConvexHull2D.h"
#include "relief/CHConvexHull3D.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::python {

namespace {

IndexArray ToIndexArray(const std::vector<std::int32_t>& v, py::ssize_t columns) {
  IndexArray out = columns == 1 ? IndexArray(py::ssize_t(v.size()))
                                : IndexArray({static_cast<py::ssize_t>(v.size()) / columns, columns});
  std::copy(v.begin(), v.end(), out.mutable_data());
  return out;
}

// ---- Delaunay -------------------------------------------------------------

// The incremental triangulation starts from its first three points, so they
// must span a triangle: the first point, the one farthest from it, and the
// one farthest off the line through both go first.
std::vector<int> StartOrder(const float* p, int n) {
  int far = 1;
  double best = -1.0;
  for (int i = 1; i < n; ++i) {
    const double dx = p[2 * i] - p[0], dy = p[2 * i + 1] - p[1];
    if (dx * dx + dy * dy > best) best = dx * dx + dy * dy, far = i;
  }
  int off = -1;
  double area = 0.0;
  const double ux = p[2 * far] - p[0], uy = p[2 * far + 1] - p[1];
  for (int i = 1; i < n; ++i) {
    const double a = std::fabs(ux * (p[2 * i + 1] - p[1]) - uy * (p[2 * i] - p[0]));
    if (a > area) area = a, off = i;
  }
  // The library's orientation tolerance is 0.005 on the cross product.
  if (off < 0 || area <= 0.01) return {};
  std::vector<int> order = {0, far, off};
  for (int i = 1; i < n; ++i)
    if (i != far && i != off) order.push_back(i);
  return order;
}

// A point's exact position as one key (-0 as 0), to tell repeats apart.
std::uint64_t PositionKey(float x, float y) {
  x += 0.0f, y += 0.0f;
  std::uint32_t bx, by;
  std::memcpy(&bx, &x, 4), std::memcpy(&by, &y, 4);
  return (std::uint64_t{bx} << 32) | by;
}

// Points at positions no triangle uses: the tolerance leaves out points
// within about 0.005 of others, and float circumcircles of long thin
// triangles can drop points far from any other. Repeats of a used position
// are not counted, nor a lost position twice.
int CountLostPositions(const float* p, int n, const std::vector<std::int32_t>& faces) {
  std::vector<char> used(n, 0);
  for (std::int32_t i : faces) used[i] = 1;
  std::unordered_set<std::uint64_t> usedAt, lostAt;
  for (int i = 0; i < n; ++i)
    if (used[i]) usedAt.insert(PositionKey(p[2 * i], p[2 * i + 1]));
  for (int i = 0; i < n; ++i) {
    const std::uint64_t key = PositionKey(p[2 * i], p[2 * i + 1]);
    if (!used[i] && !usedAt.count(key)) lostAt.insert(key);
  }
  return static_cast<int>(lostAt.size());
}

IndexArray Delaunay(const py::handle& points) {
  FloatArray a = AsPoints(points, 2, "points", 3);
  const int n = static_cast<int>(a.shape(0));
  std::vector<std::int32_t> faces;
  int lost = 0;
  {
    py::gil_scoped_release release;
    const float* p = a.data();
    std::vector<int> order = StartOrder(p, n);
    if (order.empty()) {
      py::gil_scoped_acquire acquire;
      ThrowValue("points: all on one line; there is no triangle");
    }
    // The circumcircles are float: squares of coordinates far from the
    // origin would swamp the differences that decide them, so the points
    // are triangulated relative to the lower corner of their box.
    float minX = p[0], minY = p[1], maxX = p[0], maxY = p[1];
    for (int i = 1; i < n; ++i) {
      minX = std::min(minX, p[2 * i]), minY = std::min(minY, p[2 * i + 1]);
      maxX = std::max(maxX, p[2 * i]), maxY = std::max(maxY, p[2 * i + 1]);
    }
    // A circumcentre multiplies three coordinate differences in float: past
    // this span circles overflow and points would be left out without a word.
    constexpr double kLargestSpan = 1e12;
    if (static_cast<double>(maxX) - minX > kLargestSpan || static_cast<double>(maxY) - minY > kLargestSpan) {
      py::gil_scoped_acquire acquire;
      ThrowValue("points: they span more than 1e12 units, beyond the float circumcircles' range; scale them down");
    }
    TaCIncrementalDelaunay2D delaunay(n + 8);
    for (int i : order) {
      SSEPoint v;
      v.m = _mm_setr_ps(static_cast<float>(static_cast<double>(p[2 * i]) - minX),
                        static_cast<float>(static_cast<double>(p[2 * i + 1]) - minY), 0.0f, 0.0f);
      delaunay.AppendVertex(v);
    }
    delaunay.Triangulate(n, true, false);
    for (t_hdelaunaytriangle* t : delaunay.GetFinalTriangleList())
      for (int k = 0; k < 3; ++k) faces.push_back(order[t->nVertex[k]]);
    lost = CountLostPositions(p, n, faces);
  }
  if (lost > 0) {
    const std::string message = "delaunay: " + std::to_string(lost) + " of " + std::to_string(n) +
                                " points are in no triangle (closer than about 0.005 to another point or an edge, "
                                "or lost to float circumcircles of long thin triangles)";
    if (PyErr_WarnEx(PyExc_RuntimeWarning, message.c_str(), 1) < 0) throw py::error_already_set();
  }
  return ToIndexArray(faces, 3);
}

// ---- 2D hull --------------------------------------------------------------

// The hull prints its progress with printf; a library call of a Python
// module must not write to the process's stdout, so fd 1 points at
// /dev/null for the call (one hull at a time).
class QuietStdout {
 public:
  QuietStdout() : m_hold(Mutex()) {
    std::fflush(stdout);
    m_saved = ::dup(1);
    m_null = ::open("/dev/null", O_WRONLY);
    if (m_saved >= 0 && m_null >= 0) ::dup2(m_null, 1);
  }
  ~QuietStdout() {
    std::fflush(stdout);
    if (m_saved >= 0) {
      ::dup2(m_saved, 1);
      ::close(m_saved);
    }
    if (m_null >= 0) ::close(m_null);
  }

 private:
  static std::mutex& Mutex() {
    static std::mutex m;
    return m;
  }
  std::lock_guard<std::mutex> m_hold;
  int m_saved = -1, m_null = -1;
};

IndexArray ConvexHull2D(const py::handle& points) {
  FloatArray a = AsPoints(points, 2, "points", 1);
  const int n = static_cast<int>(a.shape(0));
  std::vector<std::int32_t> hull;
  {
    py::gil_scoped_release release;
    CSSE2dPolygon polygon;
    polygon.Create(n);
    const float* p = a.data();
    for (int i = 0; i < n; ++i) polygon.SetPoint(i, p[2 * i], p[2 * i + 1]);
    QuietStdout quiet;
    CHConvexHull2D h(&polygon);
    // The stack's top is the last hull point: walk it and reverse.
    for (const tStackCell* c = h.GetStackTop(); c; c = c->next) hull.push_back(c->p->vnum);
    std::reverse(hull.begin(), hull.end());
  }
  return ToIndexArray(hull, 1);
}

// ---- 3D hull --------------------------------------------------------------

// The newest stored vertex: a point equal to a stored one after rounding is
// skipped, so the caller's points that were stored are those after which
// the newest record changed. (A plain CHConvexHull3D, not a subclass, so the
// hull takes its fast route.)
const tVertexStructure* Newest(const CHConvexHull3D& hull) {
  return hull.GetVertices() ? hull.GetVertices()->prev : nullptr;
}

IndexArray ConvexHull3D(const py::handle& points) {
  FloatArray a = AsPoints(points, 3, "points", 4);
  const int n = static_cast<int>(a.shape(0));
  const float* p = a.data();
  for (int i = 0; i < 3 * n; ++i)
    if (std::fabs(p[i]) > 1.0e9f) ThrowValue("points: coordinates beyond +-1e9 cannot be hulled exactly");
  std::vector<std::int32_t> faces;
  bool degenerate = false;
  {
    py::gil_scoped_release release;
    CHConvexHull3D hull;
    std::vector<std::int32_t> source;  // stored vertex index -> caller's index
    source.reserve(n);
    for (int i = 0; i < n; ++i) {
      const tVertexStructure* before = Newest(hull);
      hull.AppendVertex3D(p[3 * i], p[3 * i + 1], p[3 * i + 2], 0.0f);
      if (Newest(hull) != before) source.push_back(i);
    }
    degenerate = hull.IsDegenerate();
    if (!degenerate) {
      hull.CalcConvexHull();
      const tFaceStructure* first = hull.GetFaces();
      const tFaceStructure* f = first;
      if (f) do {
          for (int k = 0; k < 3; ++k) faces.push_back(source[f->vertex[k]->index]);
          f = f->next;
        } while (f != first);
    }
  }
  if (degenerate)
    ThrowValue("points: fewer than four distinct points, or all on one plane or line (after rounding to whole units)");
  return ToIndexArray(faces, 3);
}

// ---- ear clipping ---------------------------------------------------------

IndexArray TriangulatePolygon(const py::handle& points) {
  FloatArray a = AsPoints(points, 2, "points", 3);
  const int n = static_cast<int>(a.shape(0));
  std::vector<std::int32_t> faces;
  int corners = 0, made = 0;
  {
    py::gil_scoped_release release;
    const float* p = a.data();
    const auto same = [p](int i, int j) { return p[2 * i] == p[2 * j] && p[2 * i + 1] == p[2 * j + 1]; };
    // A closing point that repeats the first, or a doubled corner, makes a
    // side of length zero that no ear can be cut at: each run of equal
    // consecutive points keeps its first.
    std::vector<int> kept;
    for (int i = 0; i < n; ++i)
      if (kept.empty() || !same(i, kept.back())) kept.push_back(i);
    while (kept.size() > 1 && same(kept.back(), kept.front())) kept.pop_back();
    corners = static_cast<int>(kept.size());
    // The clipper needs counter-clockwise input (a clockwise polygon is
    // handed over reversed), and its tolerance is absolute (0.0005 on
    // doubled areas): a polygon in millimetres with points a few microns
    // apart would be all "collinear" to it. So the polygon is clipped
    // centred on its box and scaled by a power of two so that the box's
    // larger side spans 4096 to 8192 units, whatever the input's units.
    double area2 = 0.0, x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
    for (int k = 0; k < corners; ++k) {
      const double x = p[2 * kept[k]], y = p[2 * kept[k] + 1];
      const int j = kept[(k + corners - 1) % corners];
      area2 += p[2 * j] * y - x * p[2 * j + 1];
      x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
    if (area2 < 0.0) std::reverse(kept.begin(), kept.end());
    const double extent = std::max(x1 - x0, y1 - y0), cx = 0.5 * (x0 + x1), cy = 0.5 * (y0 + y1);
    const double scale = extent > 0 ? std::ldexp(1.0, 12 - std::ilogb(extent)) : 1.0;
    if (corners >= 3) {
      CSSE2dPolygon polygon;
      polygon.Create(corners);
      for (int k = 0; k < corners; ++k) {
        const float* q = p + 2 * kept[k];
        polygon.SetPoint(k, static_cast<float>((q[0] - cx) * scale), static_cast<float>((q[1] - cy) * scale));
      }
      CHPolygonTriangulator clipper(&polygon, 1, 1.0f, 1.0f, false);
      made = clipper.GetNumTriangles();
      for (int t = 0; t < made; ++t)
        for (int k = 0; k < 3; ++k) faces.push_back(kept[clipper.GetConnectivityArray()[t].Vertex[k]]);
    }
  }
  if (corners < 3) ThrowValue("points: fewer than 3 distinct corners");
  if (made != corners - 2)
    ThrowValue("points: not a simple polygon; ear clipping stopped after " + std::to_string(made) + " of " +
               std::to_string(corners - 2) + " triangles");
  return ToIndexArray(faces, 3);
}

}  // namespace

void BindGeometry(py::module_& m) {
  m.def("delaunay", &Delaunay, py::arg("points"), R"doc(
Delaunay triangulation of planar points by incremental insertion.

points: (n, 2), n >= 3, not all on one line. Returns int32 (m, 3): triangles
as indices into points, counter-clockwise (y up). Orientation tests use the
library's tolerance of 0.005 on cross products, so points closer than about
that to an existing point or edge (and repeated points, but for their
first occurrence) are left out; circumcircles are float,
computed relative to the lower corner of the points' box, so long thin
triangles can also lose points farther from the others. A RuntimeWarning
says how many distinct positions ended in no triangle (repeats of a used
position are not counted). Points spanning
more than 1e12 units in x or y raise ValueError: such circles would overflow
float and points would be lost.)doc");

  m.def("convex_hull_2d", &ConvexHull2D, py::arg("points"), R"doc(
Convex hull of planar points (Graham's scan).

points: (n, 2), n >= 1. Returns int32 (h,): the hull's corners as indices into
points, counter-clockwise (y up) from the lowest point (smallest y, then
smallest x). Points on hull edges, and corners within the 0.0005 area
tolerance of a straight run, are not part of it; of coincident corners the
hull names the last.)doc");

  m.def("convex_hull_3d", &ConvexHull3D, py::arg("points"), R"doc(
Convex hull of points in space, on exact integer coordinates.

points: (n, 3). Coordinates are quantised to tenths (trunc(v * 10 + 0.5)),
so points closer than 0.05 in every coordinate merge into the first of them;
scale finer data up first. Returns int32 (f, 3): triangular faces as indices
into points, counter-clockwise seen from outside. ValueError when fewer than
four distinct points remain or all lie in one plane.)doc");

  m.def("triangulate_polygon", &TriangulatePolygon, py::arg("points"), R"doc(
Ear-clipping triangulation of a simple polygon.

points: (n, 2) corners in order (either orientation), the last joined to
the first. Consecutive equal points (a closing point repeating the first, a
doubled corner) count once, as the first of them: with m distinct corners
(m >= 3) the result is int32 (m - 2, 3), triangles as indices into points.
Left and right are decided with a tolerance of 0.0005 on doubled
areas, after the polygon is centred on its box and scaled by a power of two
so that the box's larger side spans 4096 to 8192 units: the tolerance acts
alike on a polygon in metres, millimetres or microns. ValueError when the
clipping stops early (a self-intersecting or badly degenerate polygon).)doc");
}

}  // namespace relief::python
