// The error-bounded mesher against an independent ruler: every valid pixel
// centre is interpolated barycentrically in the triangles of the result and
// compared with the field, and the result's shape is checked as a mesh.

#include <cstdint>
#include <map>
#include <utility>

#include "mesh/error_bounded_fields.h"
#include "mesh/greedy_reference.h"
#include "mesh/mesh_testing.h"
#include "relief/CHErrorBoundedMesher.h"

namespace {

using error_bounded_fields::FbmField;
using mesh_test::MakeField;
using namespace relief_test;

bool HasData(float v) { return v != 0.0f && std::isfinite(v); }

// The result as a mesh: indices in range, points on distinct pixels of the
// field holding their heights (box corners without data excepted),
// triangles counter-clockwise, every edge used at most twice and then in
// opposite directions. And against the field: the largest and the rms
// |field - mesh| over the valid pixel centres, each interpolated in every
// triangle that holds it; fails when a valid pixel lies in no triangle or a
// triangle holds no valid pixel, or when the valid pixel count or the origin
// (the valid pixels' lowest x and y) reported differ.
testing::AssertionResult Measured(const CSSEMatrix& field, const CHErrorBoundedMesher& mesher, double& maxError,
                                  double& rmsError) {
  const int w = field.GetSizeX(), h = field.GetSizeY(), n = mesher.GetNumPoints();
  const float* v = mesher.GetVertexArray();
  const std::int32_t* idx = mesher.GetTriangleIndexArray();
  std::map<std::pair<int, int>, int> pointAt, directed;
  for (int p = 0; p < n; ++p) {
    const float x = v[3 * p], y = v[3 * p + 1];
    if (x != std::floor(x) || y != std::floor(y))
      return testing::AssertionFailure() << "point " << p << " off the pixel grid";
    const int fx = int(x) + mesher.GetOriginX(), fy = int(y) + mesher.GetOriginY();
    if (fx < 0 || fy < 0 || fx >= w || fy >= h)
      return testing::AssertionFailure() << "point " << p << " outside the field";
    if (!pointAt.emplace(std::make_pair(fx, fy), p).second)
      return testing::AssertionFailure() << "points " << pointAt[{fx, fy}] << " and " << p << " on one pixel";
    const float f = field.GetPoint(fx, fy);
    if (!std::isfinite(v[3 * p + 2]) || (HasData(f) && f != v[3 * p + 2]))
      return testing::AssertionFailure() << "point " << p << " has height " << v[3 * p + 2] << ", its pixel " << f;
  }
  std::vector<double> error(size_t(w) * h, -1.0);
  for (int t = 0; t < mesher.GetNumTriangles(); ++t) {
    const std::int32_t* c = idx + 3 * t;
    double x[3], y[3], z[3];
    for (int k = 0; k < 3; ++k) {
      if (c[k] < 0 || c[k] >= n) return testing::AssertionFailure() << "triangle " << t << " has index " << c[k];
      if (++directed[{c[k], c[(k + 1) % 3]}] > 1)
        return testing::AssertionFailure()
               << "edge " << c[k] << "-" << c[(k + 1) % 3] << " runs the same way in two triangles (not edge-manifold)";
      x[k] = v[3 * c[k]] + mesher.GetOriginX();
      y[k] = v[3 * c[k] + 1] + mesher.GetOriginY();
      z[k] = v[3 * c[k] + 2];
    }
    const double area = (x[1] - x[0]) * (y[2] - y[0]) - (x[2] - x[0]) * (y[1] - y[0]);
    if (!(area > 0.0)) return testing::AssertionFailure() << "triangle " << t << " is not counter-clockwise";
    bool overData = false;
    for (int py = int(std::min({y[0], y[1], y[2]})); py <= int(std::max({y[0], y[1], y[2]})); ++py)
      for (int px = int(std::min({x[0], x[1], x[2]})); px <= int(std::max({x[0], x[1], x[2]})); ++px) {
        const double l1 = ((px - x[0]) * (y[2] - y[0]) - (x[2] - x[0]) * (py - y[0])) / area;
        const double l2 = ((x[1] - x[0]) * (py - y[0]) - (px - x[0]) * (y[1] - y[0])) / area;
        const double l0 = 1.0 - l1 - l2;
        if (l0 < -1e-12 || l1 < -1e-12 || l2 < -1e-12) continue;
        const float f = field.GetPoint(px, py);
        if (!HasData(f)) continue;
        overData = true;
        double& e = error[size_t(py) * w + px];
        e = std::max(e, std::fabs(double(f) - (l0 * z[0] + l1 * z[1] + l2 * z[2])));
      }
    // Triangles over no data at all are left out of the result.
    if (!overData) return testing::AssertionFailure() << "triangle " << t << " holds no valid pixel";
  }
  maxError = 0.0;
  double sumSquares = 0.0;
  long long count = 0;
  int x0 = INT32_MAX, y0 = INT32_MAX;  // the result's origin: the valid pixels' lowest x and y
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      if (!HasData(field.GetPoint(x, y))) continue;
      const double e = error[size_t(y) * w + x];
      if (e < 0.0) return testing::AssertionFailure() << "valid pixel (" << x << ", " << y << ") lies in no triangle";
      maxError = std::max(maxError, e);
      sumSquares += e * e;
      ++count;
      x0 = std::min(x0, x);
      y0 = std::min(y0, y);
    }
  rmsError = count ? std::sqrt(sumSquares / double(count)) : 0.0;
  // Points are valid pixels, plus at most the four box corners.
  if (n > count + 4) return testing::AssertionFailure() << n << " points for " << count << " valid pixels";
  return AllEqual(
      {FIELD(mesher.GetNumValidPixels(), count), FIELD(mesher.GetOriginX(), x0), FIELD(mesher.GetOriginY(), y0)});
}

// Meshes and checks shape and error bound; returns false on failure (the
// failure is already recorded).
bool MeshAndCheck(const CSSEMatrix& field, float maxError, CHErrorBoundedMesher& mesher, int maxTriangles = INT32_MAX,
                  int maxPoints = INT32_MAX) {
  if (!mesher.CreateMeshFromSSEField(&field, maxError, maxTriangles, maxPoints)) {
    ADD_FAILURE() << "refused: " << mesher.GetProblem();
    return false;
  }
  double measured = 0.0, rms = 0.0;
  const testing::AssertionResult checked = Measured(field, mesher, measured, rms);
  EXPECT_TRUE(checked);
  if (!mesher.StoppedByLimit()) EXPECT_LE(measured, double(maxError) + 1e-9);
  // The mesher's own figure is the same ruler, up to rounding.
  EXPECT_NEAR(mesher.GetMaxError(), measured, 1e-4 * (1.0 + measured));
  EXPECT_NEAR(mesher.GetRMSError(), rms, 1e-4 * (1.0 + rms));
  return bool(checked);
}

// ---- fields -------------------------------------------------------------

struct FieldCase {
  const char* name;
  void (*make)(CSSEMatrix&, std::uint32_t seed);
};

const FieldCase kFields[] = {
    {"fbm 129", [](CSSEMatrix& m, std::uint32_t s) { FbmField(m, 129, 129, s); }},
    {"fbm 31x17", [](CSSEMatrix& m, std::uint32_t s) { FbmField(m, 31, 17, s); }},
    {"fbm 2x7", [](CSSEMatrix& m, std::uint32_t s) { FbmField(m, 2, 7, s); }},
    {"fbm 3x3", [](CSSEMatrix& m, std::uint32_t s) { FbmField(m, 3, 3, s); }},
    {"steps",
     [](CSSEMatrix& m, std::uint32_t s) {
       MakeField(m, 67, 45, [s](int x, int y) { return 10.0f + 7.0f * float(((x + 2 * y + int(s)) / 9) % 4); });
     }},
    {"spikes",
     [](CSSEMatrix& m, std::uint32_t s) {
       std::mt19937 rng(s);
       MakeField(m, 65, 65, [](int, int) { return 20.0f; });
       for (int i = 0; i < 40; ++i) m.SetPoint(int(rng() % 65), int(rng() % 65), 20.0f + float(rng() % 80));
     }},
    {"fbm with holes",
     [](CSSEMatrix& m, std::uint32_t s) {
       FbmField(m, 97, 81, s, 10.0, 60.0);
       std::mt19937 rng(s);
       for (int i = 0; i < 6; ++i) {
         const int cx = int(rng() % 97), cy = int(rng() % 81), r = 3 + int(rng() % 9);
         for (int y = cy - r; y <= cy + r; ++y)
           for (int x = cx - r; x <= cx + r; ++x)
             if (x >= 0 && y >= 0 && x < 97 && y < 81 && (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r)
               m.SetPoint(x, y, 0.0f);
       }
     }},
    {"circular outline off the origin",
     [](CSSEMatrix& m, std::uint32_t s) {
       CSSEMatrix terrain;
       FbmField(terrain, 101, 90, s, 5.0, 40.0);
       MakeField(m, 101, 90, [&](int x, int y) {
         const int dx = x - 60, dy = y - 47;
         return dx * dx + dy * dy <= 30 * 30 ? terrain.GetPoint(x, y) : 0.0f;
       });
     }},
    {"non-finite heights",
     [](CSSEMatrix& m, std::uint32_t s) {
       FbmField(m, 40, 30, s);
       const float bad[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()};
       for (int i = 0; i < 30; ++i) m.SetPoint((7 * i) % 40, (11 * i) % 30, bad[i % 3]);  // (0, 0): a box corner
     }},
    // Two pixels on a diagonal span an area; the corners without data take the nearest height.
    {"two on a diagonal",
     [](CSSEMatrix& m, std::uint32_t s) {
       m.Create(5, 5);
       m.SetPoint(1, 1, 4.0f);
       m.SetPoint(3, 3, float(s));
     }},
};

const float kErrors[] = {0.0f, 0.3f, 1.0f, 4.0f};

class ErrorBound : public testing::TestWithParam<std::tuple<int, float>> {};

TEST_P(ErrorBound, EveryValidPixelWithinTheBoundOnAWellFormedMesh) {
  const FieldCase& c = kFields[std::get<0>(GetParam())];
  const float maxError = std::get<1>(GetParam());
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(std::string(c.name) + ", E " + std::to_string(maxError) + ", seed " + std::to_string(seed));
    CSSEMatrix field;
    c.make(field, seed);
    CHErrorBoundedMesher mesher;
    if (!MeshAndCheck(field, maxError, mesher)) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Fields, ErrorBound,
                         testing::Combine(testing::Range(0, int(std::size(kFields))), testing::ValuesIn(kErrors)));

// ---- exact cases ----------------------------------------------------------

TEST(ErrorBoundedMesher, PlanesAndConstantsNeedTheTwoStartingTriangles) {
  struct Case {
    const char* name;
    float (*height)(int, int);
    float maxError;
    int w, h;
  } cases[] = {
      {"constant, E 0", [](int, int) { return 3.25f; }, 0.0f, 37, 23},
      {"dyadic plane, E 0", [](int x, int y) { return 10.0f + 0.5f * float(x) + 0.25f * float(y); }, 0.0f, 37, 23},
      {"plane, E 1e-3", [](int x, int y) { return 50.0f + 0.1f * float(x) - 0.3f * float(y); }, 1e-3f, 37, 23},
      {"2x2, E 0", [](int x, int y) { return float(1 + x + 3 * y); }, 0.0f, 2, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CSSEMatrix field;
    MakeField(field, c.w, c.h, c.height);
    CHErrorBoundedMesher mesher;
    ASSERT_TRUE(MeshAndCheck(field, c.maxError, mesher));
    EXPECT_TRUE(AllEqual(
        {FIELD(mesher.GetNumTriangles(), 2), FIELD(mesher.GetNumPoints(), 4), FIELD(mesher.StoppedByLimit(), false)}));
  }
}

TEST(ErrorBoundedMesher, TriangleAndPointLimitsAreNeverExceeded) {
  CSSEMatrix field;
  FbmField(field, 129, 101, 7);
  for (int limit : {2, 3, 4, 10, 101, 1000}) {
    SCOPED_TRACE("limit " + std::to_string(limit));
    CHErrorBoundedMesher mesher;
    ASSERT_TRUE(MeshAndCheck(field, 0.1f, mesher, limit, INT32_MAX));
    EXPECT_LE(mesher.GetNumTriangles(), limit);
    EXPECT_TRUE(mesher.StoppedByLimit());
    // A limit stops at most one triangle short of it (a hull split adds one).
    EXPECT_GE(mesher.GetNumTriangles(), limit - 1);
    if (limit < 4) continue;
    ASSERT_TRUE(MeshAndCheck(field, 0.1f, mesher, INT32_MAX, limit));
    EXPECT_EQ(mesher.GetNumPoints(), limit);
    EXPECT_TRUE(mesher.StoppedByLimit());
  }
}

// The fast mesher is the plain greedy algorithm: on the same fields it needs
// the same number of triangles up to the order in which ties are broken.
TEST(ErrorBoundedMesher, MatchesThePlainGreedyReferenceWithinFivePercent) {
  for (std::uint32_t seed : {21u, 22u, 23u})
    for (float e : {1.0f, 2.0f, 4.0f}) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", E " + std::to_string(e));
      CSSEMatrix field;
      FbmField(field, 65, 65, seed);
      std::vector<float> plain(65 * 65);
      for (int y = 0; y < 65; ++y)
        for (int x = 0; x < 65; ++x) plain[size_t(y) * 65 + x] = field.GetPoint(x, y);
      const greedy_reference::Mesh reference = greedy_reference::GreedyMesh(plain, 65, 65, e);
      CHErrorBoundedMesher mesher;
      ASSERT_TRUE(MeshAndCheck(field, e, mesher));
      const double ratio = double(mesher.GetNumTriangles()) / double(reference.triangles.size());
      EXPECT_LE(ratio, 1.05) << mesher.GetNumTriangles() << " against " << reference.triangles.size();
      EXPECT_GE(ratio, 0.95) << mesher.GetNumTriangles() << " against " << reference.triangles.size();
    }
}

TEST(ErrorBoundedMesher, FillTriangulationScalesTheIndexedResult) {
  CSSEMatrix field;
  FbmField(field, 50, 40, 3);
  CHErrorBoundedMesher mesher;
  ASSERT_TRUE(mesher.CreateMeshFromSSEField(&field, 2.0f, INT32_MAX, INT32_MAX));
  CHTriangulation mesh;
  mesher.FillTriangulation(mesh, 0.5f, 2.0f, -1.0f);
  ASSERT_EQ(mesh.GetNumTriangles(), mesher.GetNumTriangles());
  EXPECT_EQ(mesh.GetScaleX(), 0.5f);
  const float* v = mesher.GetVertexArray();
  for (int i = 0; i < 3 * mesh.GetNumTriangles(); ++i) {
    const SSEPoint& p = mesh.GetEdgeArray()[i];
    const float* q = v + 3 * mesher.GetTriangleIndexArray()[i];
    ASSERT_EQ(p.x, q[0] * 0.5f);
    ASSERT_EQ(p.y, q[1] * 2.0f);
    ASSERT_EQ(p.z, -q[2]);
  }
  // Positive x and y scales keep the winding: flat normals point up.
  for (int t = 0; t < mesh.GetNumTriangles(); ++t) ASSERT_GT(mesh.GetNormalArray()[3 * t].z, 0.0f) << t;
}

// ---- bad input --------------------------------------------------------------

TEST(ErrorBoundedMesher, BadInputIsRefusedWithAReason) {
  CSSEMatrix fbm, empty, single, row, nanOnly, noStorage;
  FbmField(fbm, 20, 20, 1);
  empty.Create(9, 9);
  single.Create(9, 9);
  single.SetPoint(4, 4, 3.0f);
  row.Create(9, 9);
  for (int x = 0; x < 9; ++x) row.SetPoint(x, 2, 1.0f + float(x));
  MakeField(nanOnly, 9, 9, [](int, int) { return std::numeric_limits<float>::quiet_NaN(); });
  const float kNaN = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();
  struct Case {
    const char* name;
    const CSSEMatrix* field;
    float maxError;
    int maxTriangles = INT32_MAX, maxPoints = INT32_MAX;
  } cases[] = {{"null field", nullptr, 1},
               {"field without storage", &noStorage, 1},
               {"all no data", &empty, 1},
               {"one valid pixel", &single, 1},
               {"one valid row", &row, 1},
               {"only NaN", &nanOnly, 1},
               {"negative error", &fbm, -0.5f},
               {"NaN error", &fbm, kNaN},
               {"infinite error", &fbm, kInf},
               {"no triangles", &fbm, 1, 0},
               {"one triangle", &fbm, 1, 1},
               {"negative triangles", &fbm, 1, -5},
               {"three points", &fbm, 1, INT32_MAX, 3},
               {"no points", &fbm, 1, INT32_MAX, 0}};
  CHErrorBoundedMesher mesher;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // A good run first, so that a refusal must also clear the old result.
    ASSERT_TRUE(mesher.CreateMeshFromSSEField(&fbm, 1.0f, INT32_MAX, INT32_MAX));
    EXPECT_FALSE(mesher.CreateMeshFromSSEField(c.field, c.maxError, c.maxTriangles, c.maxPoints));
    EXPECT_STRNE(mesher.GetProblem(), "");
    EXPECT_TRUE(AllEqual({FIELD(mesher.GetNumTriangles(), 0), FIELD(mesher.GetNumPoints(), 0)}));
  }
}

}  // namespace
