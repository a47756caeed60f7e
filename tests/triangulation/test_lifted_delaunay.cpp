// Delaunay by lifting: the lower faces of the lifted hull, the timing
// message, and random point sets checked for empty circumcircles and for
// covering their convex hull.

#include <gtest/gtest.h>

#include "test_hull_reference.h"
#include "test_hull_seed.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "relief/CH2DDelaunay.h"
#include "relief/MessageBox.h"

namespace {

using Int = std::int64_t;
using Wide = __int128;
struct P2 {
  Int x, y;
  bool operator<(const P2& o) const { return x < o.x || (x == o.x && y < o.y); }
  bool operator==(const P2& o) const { return x == o.x && y == o.y; }
};

// Collects the message-box texts while a test runs.
class MessageCapture {
 public:
  MessageCapture() {
    SetMessageBoxHandler([this](const std::string& t) { texts.push_back(t); });
  }
  ~MessageCapture() { SetMessageBoxHandler({}); }
  std::vector<std::string> texts;
};

Wide Cross(const P2& o, const P2& a, const P2& b) {
  return Wide(a.x - o.x) * (b.y - o.y) - Wide(a.y - o.y) * (b.x - o.x);
}

// > 0 when d lies strictly inside the circle through the counter-clockwise a, b, c.
Wide InCircle(const P2& a, const P2& b, const P2& c, const P2& d) {
  const Wide ax = a.x - d.x, ay = a.y - d.y, bx = b.x - d.x, by = b.y - d.y, cx = c.x - d.x, cy = c.y - d.y;
  const Wide a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  return ax * (by * c2 - b2 * cy) - ay * (bx * c2 - b2 * cx) + a2 * (bx * cy - by * cx);
}

// Twice the area of the convex hull (exact).
Wide DoubledHullArea(const std::vector<P2>& p) {
  const std::vector<P2> h = MonotoneChainHull(p, Cross);
  Wide area = 0;
  for (std::size_t i = 0; h.size() >= 3 && i < h.size(); ++i) {
    const P2& a = h[i];
    const P2& b = h[(i + 1) % h.size()];
    area += Wide(a.x) * b.y - Wide(b.x) * a.y;
  }
  return area;
}

std::vector<std::array<P2, 3>> Triangles(const CH2DDelaunay& d) {
  std::vector<std::array<P2, 3>> out;
  if (const tFaceStructure* f = d.GetFaces()) {
    do {
      out.push_back({P2{f->vertex[0]->x, f->vertex[0]->y}, P2{f->vertex[1]->x, f->vertex[1]->y},
                     P2{f->vertex[2]->x, f->vertex[2]->y}});
      f = f->next;
    } while (f != d.GetFaces());
  }
  return out;
}

TEST(LiftedDelaunay, SquareWithInnerPointGivesFourLowerFaces) {
  // A square alone lifts onto one plane (its corners are cocircular), so an
  // inner point makes the set solid.
  MessageCapture messages;
  CH2DDelaunay d;
  for (const auto& p : std::vector<std::array<float, 2>>{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {1.5f, 2}})
    d.AppendVertex(p[0], p[1], -1, false);
  ASSERT_FALSE(d.IsDegenerate());
  d.CalcDelaunayTriangulation();
  EXPECT_EQ(d.GetNumFaces(), 4);
  EXPECT_EQ(d.GetNumVertices(), 5);
  EXPECT_EQ(d.GetNumEdges(), 8);
  for (const auto& t : Triangles(d)) {
    // Lower faces run clockwise seen from above and all touch the inner point.
    EXPECT_LT(Cross(t[0], t[1], t[2]), 0);
    EXPECT_TRUE(t[0].x == 15 || t[1].x == 15 || t[2].x == 15);
  }
  const tFaceStructure* f = d.GetFaces();
  do {
    EXPECT_TRUE(f->lower);
    EXPECT_LT(d.NormZ(f), 0);
    f = f->next;
  } while (f != d.GetFaces());
  ASSERT_EQ(messages.texts.size(), 1u);
  const std::string& text = messages.texts[0];
  EXPECT_EQ(text.rfind("Time for 2D-Delaunay ms: ", 0), 0u) << text;
  EXPECT_NE(text.find("\n Vertices: 5"), std::string::npos) << text;
}

TEST(LiftedDelaunay, SquareBesideAFarPointKeepsOneDiagonal) {
  // The square's two triangles appear with exactly one of its diagonals.
  CH2DDelaunay d;
  for (const auto& p : std::vector<std::array<float, 2>>{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {7, 3}})
    d.AppendVertex(p[0], p[1], -1, false);
  d.CalcDelaunayTriangulation();
  int diagonal02 = 0, diagonal13 = 0;
  for (const auto& t : Triangles(d)) {
    std::set<std::pair<Int, Int>> c;
    for (const P2& p : t) c.insert({p.x, p.y});
    diagonal02 += c.count({0, 0}) && c.count({10, 10});
    diagonal13 += c.count({10, 0}) && c.count({0, 10});
  }
  EXPECT_EQ(diagonal02 + diagonal13, 2);
  EXPECT_TRUE(diagonal02 == 0 || diagonal13 == 0);
}

TEST(LiftedDelaunay, MessageIsSentOnEveryCall) {
  MessageCapture messages;
  for (int round = 0; round < 2; ++round) {
    CH2DDelaunay d;
    for (int i = 0; i < 6; ++i) d.AppendVertex(float(i * i % 7), float(i), -1, false);
    d.CalcDelaunayTriangulation();
  }
  EXPECT_EQ(messages.texts.size(), 2u);
}

TEST(LiftedDelaunayProperty, EmptyCircumcirclesCoveringTheHull) {
  MessageCapture quiet;
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 30; ++round) {
    const int n = 5 + static_cast<int>(rng() % 120);
    const int range = round % 2 ? 60 : 3000;  // small ranges force cocircular sets
    std::uniform_int_distribution<int> tenth(0, range);
    CH2DDelaunay d;
    std::vector<P2> points;
    for (int i = 0; i < n; ++i) {
      const int x = tenth(rng), y = tenth(rng);
      d.AppendVertex(x / 10.0f, y / 10.0f, -1, false);
      points.push_back({x, y});
    }
    if (d.IsDegenerate()) continue;
    d.CalcDelaunayTriangulation();
    const auto tris = Triangles(d);
    ASSERT_EQ(static_cast<int>(tris.size()), d.GetNumFaces());
    Wide area = 0;
    for (const auto& t : tris) {
      const Wide a = -Cross(t[0], t[1], t[2]);  // clockwise seen from above
      ASSERT_GT(a, 0) << "round " << round << ": a degenerate or upward face";
      area += a;
      for (const P2& p : points) {
        ASSERT_LE(InCircle(t[0], t[2], t[1], p), 0) << "round " << round << ": a point inside a circumcircle";
      }
    }
    ASSERT_EQ(area, DoubledHullArea(points)) << "round " << round;
  }
}

}  // namespace
