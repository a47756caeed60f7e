// The 3D hull's fast route (planes kept with the faces, vertices as doubles,
// exact fallback) against its plain route (every test through VolumeSign):
// both must leave the very same records in the very same list order, on
// seeded inputs built to make the rounding matter.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"
#include "relief/MessageBox.h"
#include "test_hull_reference.h"

namespace {

template <typename T>
std::vector<const T*> Circle(const T* head) {
  std::vector<const T*> out;
  for (const T* r = head; r && (out.empty() || r != head); r = r->next) out.push_back(r);
  return out;
}

template <typename T>
std::map<const T*, int> Ordinals(const std::vector<const T*>& records) {
  std::map<const T*, int> out;
  for (std::size_t i = 0; i < records.size(); ++i) out[records[i]] = static_cast<int>(i);
  out[nullptr] = -1;
  return out;
}

// Names the first record in which the two hulls differ: counts, then every
// vertex (coordinates, index, flags), every face (corners, edges, flags) and
// every edge (ends, faces, flag), each compared by its place in its list.
testing::AssertionResult SameRecords(const CHConvexHull3D& fast, const CHConvexHull3D& plain) {
  const auto fv = Circle(fast.GetVertices()), pv = Circle(plain.GetVertices());
  const auto fe = Circle(fast.GetEdges()), pe = Circle(plain.GetEdges());
  const auto ff = Circle(fast.GetFaces()), pf = Circle(plain.GetFaces());
  if (fv.size() != pv.size() || fe.size() != pe.size() || ff.size() != pf.size())
    return testing::AssertionFailure() << "counts (V, E, F) fast " << fv.size() << ", " << fe.size() << ", "
                                       << ff.size() << " plain " << pv.size() << ", " << pe.size() << ", " << pf.size();
  if (fast.GetNumFaces() != plain.GetNumFaces() || fast.GetNumEdges() != plain.GetNumEdges() ||
      fast.GetNumVertices() != plain.GetNumVertices())
    return testing::AssertionFailure() << "stored counts differ";
  const auto fvo = Ordinals(fv), pvo = Ordinals(pv);
  const auto feo = Ordinals(fe), peo = Ordinals(pe);
  const auto ffo = Ordinals(ff), pfo = Ordinals(pf);
  for (std::size_t i = 0; i < fv.size(); ++i) {
    const tVertexStructure *a = fv[i], *b = pv[i];
    if (a->x != b->x || a->y != b->y || a->z != b->z || a->index != b->index || a->flag != b->flag ||
        a->onhull != b->onhull || a->processed != b->processed ||
        (a->duplicate == nullptr) != (b->duplicate == nullptr))
      return testing::AssertionFailure() << "vertex " << i << " (index " << a->index << " / " << b->index << ")";
  }
  for (std::size_t i = 0; i < ff.size(); ++i) {
    const tFaceStructure *a = ff[i], *b = pf[i];
    for (int k = 0; k < 3; ++k)
      if (fvo.at(a->vertex[k]) != pvo.at(b->vertex[k]) || feo.at(a->edge[k]) != peo.at(b->edge[k]))
        return testing::AssertionFailure() << "face " << i << " corner or edge " << k;
    if (a->visible != b->visible || a->lower != b->lower)
      return testing::AssertionFailure() << "face " << i << " flags";
  }
  for (std::size_t i = 0; i < fe.size(); ++i) {
    const tEdgeStructure *a = fe[i], *b = pe[i];
    for (int k = 0; k < 2; ++k)
      if (fvo.at(a->endpts[k]) != pvo.at(b->endpts[k]) || ffo.at(a->adjface[k]) != pfo.at(b->adjface[k]))
        return testing::AssertionFailure() << "edge " << i << " end or face " << k;
    if (a->del != b->del || (a->newface == nullptr) != (b->newface == nullptr))
      return testing::AssertionFailure() << "edge " << i << " flags";
  }
  return testing::AssertionSuccess();
}

using Points3 = std::vector<std::array<float, 3>>;

// Builds the hull of the same points on both routes and compares them.
testing::AssertionResult RoutesAgree3D(const Points3& pts) {
  CHConvexHull3D fast, plain;
  plain.SetReferenceScans(true);
  for (const auto& p : pts) {
    fast.AppendVertex3D(p[0], p[1], p[2], 0.0f);
    plain.AppendVertex3D(p[0], p[1], p[2], 0.0f);
  }
  if (plain.IsDegenerate()) return testing::AssertionSuccess();
  fast.CalcConvexHull();
  plain.CalcConvexHull();
  if (plain.GetNumFaces() < 4) return testing::AssertionFailure() << "no solid built";
  return SameRecords(fast, plain);
}

testing::AssertionResult RoutesAgreeLifted(const std::vector<std::array<float, 2>>& pts) {
  CH2DDelaunay fast, plain;
  plain.SetReferenceScans(true);
  for (std::size_t i = 0; i < pts.size(); ++i) {
    const bool flag = i % 3 == 0;
    fast.AppendVertex(pts[i][0], pts[i][1], i % 5 == 0 ? static_cast<int>(i) : -1, flag);
    plain.AppendVertex(pts[i][0], pts[i][1], i % 5 == 0 ? static_cast<int>(i) : -1, flag);
  }
  if (plain.IsDegenerate()) return testing::AssertionSuccess();
  fast.CalcDelaunayTriangulation();
  plain.CalcDelaunayTriangulation();
  return SameRecords(fast, plain);
}

struct Case3D {
  const char* name;
  std::function<Points3(std::mt19937&, int)> make;
};

const Case3D kCases3D[] = {
    {"uniform cube",
     [](std::mt19937& rng, int n) {
       std::uniform_int_distribution<int> c(-50000, 50000);
       Points3 p(n);
       for (auto& q : p) q = {float(c(rng)), float(c(rng)), float(c(rng))};
       return p;
     }},
    {"integer points on a sphere (many cospherical)",
     [](std::mt19937& rng, int n) {
       // x^2 + y^2 + z^2 = 65^2 exactly, in shuffled order and repeated
       Points3 all;
       for (int x = -65; x <= 65; ++x)
         for (int y = -65; y <= 65; ++y) {
           const int r = 65 * 65 - x * x - y * y;
           const int z = static_cast<int>(std::lround(std::sqrt(std::max(r, 0))));
           if (r >= 0 && z * z == r) {
             all.push_back({float(x), float(y), float(z)});
             all.push_back({float(x), float(y), float(-z)});
           }
         }
       Points3 p(n);
       for (auto& q : p) q = all[rng() % all.size()];
       return p;
     }},
    {"grid (coplanar and collinear runs)",
     [](std::mt19937& rng, int n) {
       Points3 p(n);
       for (auto& q : p) q = {float(rng() % 7), float(rng() % 5), float(rng() % 4)};
       return p;
     }},
    {"clusters",
     [](std::mt19937& rng, int n) {
       std::normal_distribution<float> g(0.0f, 3.0f);
       std::uniform_int_distribution<int> centre(-100000, 100000);
       Points3 p(n);
       float cx = 0, cy = 0, cz = 0;
       for (int i = 0; i < n; ++i) {
         if (i % 50 == 0) cx = float(centre(rng)), cy = float(centre(rng)), cz = float(centre(rng));
         p[i] = {std::round(cx + g(rng)), std::round(cy + g(rng)), std::round(cz + g(rng))};
       }
       return p;
     }},
    {"near-degenerate: a plane with one-unit bumps",
     [](std::mt19937& rng, int n) {
       std::uniform_int_distribution<int> c(-1000000, 1000000);
       Points3 p(n);
       for (auto& q : p) {
         const float x = float(c(rng)), y = float(c(rng));
         const int bump = static_cast<int>(rng() % 3) - 1;  // off the plane 3x - 2y + 5z = 0 by at most one unit
         q = {x, y, std::round((2 * y - 3 * x) / 5) + float(bump)};
       }
       return p;
     }},
    {"far from the origin (2^39 offset, small spread)",
     [](std::mt19937& rng, int n) {
       const float o = 549755813888.0f;  // 2^39: floats step by 2^16 here
       Points3 p(n);
       for (auto& q : p)
         q = {o + 65536.0f * float(rng() % 64), -o + 65536.0f * float(rng() % 64), o - 65536.0f * float(rng() % 64)};
       return p;
     }},
    {"full range (2^40 corners: the plain route throughout)",
     [](std::mt19937& rng, int n) {
       const float s = 1099511627776.0f;
       std::uniform_real_distribution<float> c(-s, s);
       Points3 p(n);
       for (auto& q : p) q = {c(rng), c(rng), c(rng)};
       return p;
     }},
};

TEST(Hull3DRoutes, FastRouteLeavesThePlainRoutesRecords) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (const Case3D& c : kCases3D)
    for (const int n : {4, 5, 7, 17, 31, 129, 1000, 20000})
      ASSERT_TRUE(RoutesAgree3D(c.make(rng, n))) << c.name << ", n " << n;
}

TEST(Hull3DRoutes, LiftedFastRouteLeavesThePlainRoutesRecords) {
  SetMessageBoxHandler([](const std::string&) {});
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const struct {
    const char* name;
    float origin, step;
    int spread;
  } cases[] = {
      {"uniform tenths", 0.0f, 0.1f, 100000},
      {"small grid (cocircular)", 0.0f, 1.0f, 12},
      {"far out, frame still exact", 5.0e6f, 0.5f, 2000},
      {"far out, z beyond 2^53", -8.0e6f, 0.5f, 40},
      {"both signs at the range limit", -1.0e8f, 8.0f, 25000000},
  };
  for (const auto& c : cases)
    for (const int n : {4, 5, 7, 17, 31, 129, 1000, 20000}) {
      std::vector<std::array<float, 2>> pts(n);
      for (auto& p : pts)
        p = {c.origin + c.step * float(rng() % c.spread), c.origin + c.step * float(rng() % c.spread)};
      ASSERT_TRUE(RoutesAgreeLifted(pts)) << c.name << ", n " << n;
    }
  SetMessageBoxHandler({});
}

// A class with its own VolumeSign keeps it: the fast route is not taken.
TEST(Hull3DRoutes, OwnVolumeSignIsHonoured) {
  struct Counting : CHConvexHull3D {
    mutable int calls = 0;
    int VolumeSign(const tFaceStructure* f, const tVertexStructure* p) const override {
      ++calls;
      return CHConvexHull3D::VolumeSign(f, p);
    }
  };
  Counting h;
  for (int i = 0; i < 50; ++i) h.AppendVertex3D(float(i * 7 % 11), float(i * 5 % 13), float(i * 3 % 17), 0.0f);
  const int before = h.calls;
  h.CalcConvexHull();
  EXPECT_GT(h.calls - before, 50);
}

}  // namespace
