// Dilation and erosion of closed contours: analytic areas (Steiner's formula
// for convex shapes, mitred offsets of squares and regular polygons), the
// distance invariant of the exact dilation, and an independent offsetting
// library (Clipper) on non-convex shapes.

#include <limits>

#include "polygon_fixtures.h"

#ifdef RELIEF_HAVE_CLIPPER
#include <clipper.hpp>
#endif

using namespace contour_test;

namespace {

constexpr double kPi = 3.14159265358979323846;

double Perimeter(const Pts& p) {
  double s = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const P3 &a = p[i], &b = p[(i + 1) % p.size()];
    s += std::hypot(double(b.x) - a.x, double(b.y) - a.y);
  }
  return s;
}

Pts Regular(int n, double r, double cx, double cy) {
  Pts p;
  for (int i = 0; i < n; ++i)
    p.push_back({float(cx + r * std::cos(2 * kPi * i / n)), float(cy + r * std::sin(2 * kPi * i / n)), float(i)});
  return p;
}

double DistanceToOutline(const Pts& p, double x, double y) {
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < p.size(); ++i) {
    const P3 &a = p[i], &b = p[(i + 1) % p.size()];
    const double ux = double(b.x) - a.x, uy = double(b.y) - a.y, l2 = ux * ux + uy * uy;
    double t = l2 > 0 ? ((x - a.x) * ux + (y - a.y) * uy) / l2 : 0;
    t = std::max(0.0, std::min(1.0, t));
    best = std::min(best, std::hypot(x - a.x - t * ux, y - a.y - t * uy));
  }
  return best;
}

// Every corner of the dilated outline lies at the distance from the source
// outline (a crossing of two arc chords up to the chord tolerance nearer) and
// outside the source, every source corner lies inside the outline, and the
// outline runs counter-clockwise.
testing::AssertionResult IsDilationOf(const Pts& out, const Pts& src, double d) {
  if (out.size() < 3) return testing::AssertionFailure() << "only " << out.size() << " points";
  if (!(Area(out) > 0)) return testing::AssertionFailure() << "area " << Area(out);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const double dist = DistanceToOutline(src, out[i].x, out[i].y);
    // Float corners: allow a few units in the last place of the coordinates.
    const double ulp = 4e-7 * std::max(std::fabs(out[i].x), std::fabs(out[i].y)) + 1e-5 * std::max(1.0, d);
    if (dist > d + ulp || dist < d - std::min(0.01, d / 100) - ulp)
      return testing::AssertionFailure() << "corner " << i << " " << out[i] << " lies " << dist << " from the source";
    if (src.size() >= 3 && NaiveInside(src, out[i].x, out[i].y))
      return testing::AssertionFailure() << "corner " << i << " " << out[i] << " lies inside the source";
  }
  for (std::size_t i = 0; i < src.size(); ++i)
    if (!NaiveInside(out, src[i].x, src[i].y))
      return testing::AssertionFailure() << "source corner " << i << " " << src[i] << " lies outside";
  return testing::AssertionSuccess();
}

Pts Dilated(const Pts& src, float d) {
  CSSE3dPolygon p = Make(src);
  p.DilateExact(d);
  return Points(p);
}

TEST(PolygonOffset, ExactDilationOfConvexShapesFollowsSteiner) {
  // Area of a convex shape grown by d: A + P d + pi d^2. The arcs are chords
  // at most min(0.01, d / 100) inside the circle, which bounds the deficit.
  const std::pair<Pts, float> cases[] = {{Square(0, 0, 10), 2.5f},
                                         {Square(1e4f, -3e3f, 7), 0.3f},
                                         {Regular(3, 20, 5, 5), 4},
                                         {Regular(5, 1, 0, 0), 10},
                                         {Regular(17, 50, -20, 9), 1},
                                         {Regular(129, 30, 0, 0), 0.5f},
                                         {{{0, 0, 0}, {4, 0, 0}, {4, 0.5f, 0}}, 2}};
  for (const auto& [shape, d] : cases) {
    const Pts out = Dilated(shape, d);
    SCOPED_TRACE(testing::Message() << shape.size() << " corners, d " << d);
    EXPECT_TRUE(IsDilationOf(out, shape, d));
    const double steiner = std::fabs(Area(shape)) + Perimeter(shape) * d + kPi * d * d;
    EXPECT_LE(Area(out), steiner * (1 + 1e-6));
    EXPECT_GE(Area(out), steiner - 2 * kPi * d * std::min(0.01, d / 100.0) - 1e-6 * steiner);
  }
}

TEST(PolygonOffset, ExactDilationOfDegenerateContours) {
  const double d = 3, chords = 2 * kPi * d * 0.01;  // bound of the chord deficit
  // A point is a disc, a segment (also with repeats and collinear corners,
  // and walked there and back like a traced line) a capsule.
  EXPECT_NEAR(Area(Dilated({{5, 5, 0}, {5, 5, 0}}, d)), kPi * d * d - chords / 2, chords / 2);
  for (const Pts& line : {Pts{{0, 0, 0}, {10, 0, 0}},
                          Pts{{0, 0, 0}, {0, 0, 0}, {4, 0, 0}, {10, 0, 0}, {10, 0, 0}, {6, 0, 0}, {2, 0, 0}}}) {
    const Pts out = Dilated(line, d);
    EXPECT_TRUE(IsDilationOf(out, line, d));
    EXPECT_NEAR(Area(out), 2 * 10 * d + kPi * d * d - chords / 2, chords / 2);
  }
  // A square given clockwise, with repeated and collinear corners.
  EXPECT_NEAR(Area(Dilated({{0, 0, 0}, {0, 5, 0}, {0, 10, 0}, {0, 10, 0}, {10, 10, 0}, {10, 0, 0}, {5, 0, 0}}, 1)),
              100 + 40 + kPi - 0.03, 0.03);
  // A frame whose slit (1 wide) the growth by 1 closes: the hole left inside
  // is filled, only the outline stays, with a notch where the slit opens:
  // the unit square at the mouth minus two quarter discs that overlap in half
  // a lens of two unit circles one apart.
  const Pts frame = {{0, 0, 0}, {10, 0, 0}, {10, 4.5f, 0}, {8, 4.5f, 0},  {8, 2, 0},   {2, 2, 0},
                     {2, 8, 0}, {8, 8, 0},  {8, 5.5f, 0},  {10, 5.5f, 0}, {10, 10, 0}, {0, 10, 0}};
  const Pts grown = Dilated(frame, 1);
  EXPECT_TRUE(IsDilationOf(grown, frame, 1));
  const double halfLens = (2 * kPi / 3 - std::sqrt(3.0) / 2) / 2, notch = 1 - (kPi / 2 - halfLens);
  EXPECT_NEAR(Area(grown), 100 + 40 + kPi - notch - 0.03, 0.03);
}

TEST(PolygonOffset, BadDistancesAndEmptyPolygonsLeaveThingsUnchanged) {
  // Without area (a line) the quasi offsets do nothing either.
  const Pts square = Square(0, 0, 4), line = {{0, 0, 0}, {5, 0, 0}, {9, 0, 0}};
  for (float d : {0.0f, -1.0f, std::nanf(""), std::numeric_limits<float>::infinity(), 1.0f})
    for (int op = 0; op < 3; ++op) {
      const Pts& src = d == 1.0f ? line : square;
      CSSE3dPolygon p = Make(src), empty;
      for (CSSE3dPolygon* q : {&p, &empty})
        op == 0 ? q->DilateExact(d) : op == 1 ? q->DoQuasiMinkowskiDilation(d) : q->DoQuasiMinkowskiErosion(d);
      if (d != 1.0f || op != 0) EXPECT_EQ(Points(p), src) << "op " << op << " d " << d;
      EXPECT_EQ(empty.GetNumPoints(), 0);
    }
}

TEST(PolygonOffset, QuasiOffsetsOfSquaresAndRegularPolygons) {
  // Mitred: a square of side s becomes s + 2d (s - 2d); a regular n-gon with
  // apothem a becomes one with apothem a + d, area n (a + d)^2 tan(pi / n).
  for (int n : {3, 4, 5, 7, 17, 129}) {  // a triangle's corners sit right at the mitre limit
    const double r = 40, a = r * std::cos(kPi / n);
    for (double d : {0.5, 3.0}) {
      CSSE3dPolygon grow = Make(Regular(n, r, 7, -3)), shrink = Make(Regular(n, r, 7, -3));
      grow.DoQuasiMinkowskiDilation(float(d));
      shrink.DoQuasiMinkowskiErosion(float(d));
      EXPECT_NEAR(Area(Points(grow)), n * (a + d) * (a + d) * std::tan(kPi / n), 1e-3 * r * r) << n;
      EXPECT_NEAR(Area(Points(shrink)), n * (a - d) * (a - d) * std::tan(kPi / n), 1e-3 * r * r) << n;
      EXPECT_EQ(grow.GetNumPoints(), n);
    }
  }
  // Counted clockwise the square still grows outward; eroded past its half
  // width it is gone (every edge would turn round).
  Pts cw = Square(0, 0, 10);
  std::reverse(cw.begin(), cw.end());
  CSSE3dPolygon p = Make(cw);
  p.DoQuasiMinkowskiDilation(1);
  EXPECT_NEAR(std::fabs(Area(Points(p))), 144, 1e-4);
  p.DoQuasiMinkowskiErosion(6.5f);
  EXPECT_EQ(p.GetNumPoints(), 0);
}

#ifdef RELIEF_HAVE_CLIPPER
// Clipper's round offset (integer coordinates scaled by 1024) of the same shape.
double ClipperRoundDilationArea(const Pts& src, double d) {
  const double scale = 1024;
  ClipperLib::Path path;
  for (const P3& p : src)
    path.push_back({ClipperLib::cInt(std::llround(p.x * scale)), ClipperLib::cInt(std::llround(p.y * scale))});
  ClipperLib::ClipperOffset offset(2.0, 0.0025 * scale);
  offset.AddPath(path, ClipperLib::jtRound, ClipperLib::etClosedPolygon);
  ClipperLib::Paths out;
  offset.Execute(out, d * scale);
  double outer = 0;  // the largest outline: holes the growth leaves are not ours
  for (const auto& p : out) outer = std::max(outer, ClipperLib::Area(p));
  return outer / (scale * scale);
}
#endif

// Every shape meets the invariant; simple ones also agree with Clipper in
// area (on self-crossing ones Clipper's fill rule makes some loops holes,
// while the outline of the grown area takes them all in).
TEST(PolygonOffset, ExactDilationOfRandomContours) {
  for (Shape shape : kAllShapes)
    for (int n : {3, 5, 17, 31, 129, 400})
      for (unsigned seed = 0; seed < 2; ++seed) {
        const bool simple = shape == Shape::Convex || shape == Shape::Star || shape == Shape::Collinear;
        std::mt19937 rng(simple ? seed * 101 + n : seed * 31 + n);
        const Pts src = simple ? RandomShape(shape, rng, n, 50, 50, 40) : RandomShape(shape, rng, n, -200, 1e3f, 25);
        for (double d : simple ? std::vector<double>{0.7, 4, 15} : std::vector<double>{0.5, 3}) {
          SCOPED_TRACE(testing::Message() << shape << " n " << n << " seed " << seed << " d " << d);
          const Pts out = Dilated(src, float(d));
          ASSERT_TRUE(IsDilationOf(out, src, d));
#ifdef RELIEF_HAVE_CLIPPER
          if (simple)
            EXPECT_NEAR(Area(out), ClipperRoundDilationArea(src, d), 2e-4 * Area(out) + 0.02 * Perimeter(out));
#endif
        }
      }
}

}  // namespace
