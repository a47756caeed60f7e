// Refinement against height fields, the unlegalised split, the grid-point
// insertion, scan conversion, and the normal and centre fields.
#include <gtest/gtest.h>

#include <cmath>

#include "delaunay_test_support.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

using namespace delaunay_test;

namespace {

void Fill(CSSEMatrix& m, int w, int h, float (*f)(int, int)) {
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, f(x, y));
}

std::vector<Pt> Square(float z00, float z10, float z11, float z01, float side = 10.0f) {
  return {{0, 0, z00}, {side, side, z11}, {0, side, z01}, {side, 0, z10}};
}

TEST(DelaunayRefine, ZeroPassesChangeNothing) {
  TaCIncrementalDelaunay2D d;
  Load(d, MakeCloud(Cloud::kUniform, 50, 4));
  d.Triangulate(50, false, true);
  const auto before = Snapshot(d.GetTriangleList());
  const int vertices = d.GetNumVertices();
  CSSEMatrix field;
  Fill(field, 100, 100, [](int x, int y) { return float(x * y % 13); });
  d.RefineTriangulation(1.0f, 0, 0.01f);
  d.RefineTriangulation(&field, 1.0f, 0, 0.01f);
  EXPECT_EQ(d.GetNumVertices(), vertices);
  EXPECT_EQ(FirstDifference(Snapshot(d.GetTriangleList()), before), -1);
}

TEST(DelaunayRefine, FlatTriangulationIsNeverRefined) {
  std::vector<Pt> pts = MakeCloud(Cloud::kUniform, 40, 8);
  for (Pt& p : pts) p.z = 7.0f;
  TaCIncrementalDelaunay2D d;
  Load(d, pts);
  d.Triangulate(40, false, false);
  const int vertices = d.GetNumVertices();
  CSSEMatrix field;
  Fill(field, 100, 100, [](int, int) { return 7.0f; });
  d.RefineTriangulation(0.01f, 10, 0.001f);
  d.RefineTriangulation(&field, 0.01f, 10, 0.001f);
  EXPECT_EQ(d.GetNumVertices(), vertices);
}

struct SplitCase {
  const char* name;
  std::vector<Pt> pts;
  float minHeight, tolerance;
  int added;
};

class DelaunayRefineSplit : public ::testing::TestWithParam<SplitCase> {};

TEST_P(DelaunayRefineSplit, SplitsOnlyBigRoughTriangles) {
  const SplitCase& c = GetParam();
  TaCIncrementalDelaunay2D d;
  Load(d, c.pts, 0);
  d.Triangulate(3, false, false);
  d.RefineTriangulation(c.minHeight, 1, c.tolerance);
  EXPECT_EQ(d.GetNumVertices(), 3 + c.added);
  EXPECT_EQ(d.GetTriangleList().GetCount(), 1 + 2 * c.added);
  EXPECT_EQ(Check(d, d.GetTriangleList()), "");
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, DelaunayRefineSplit,
    ::testing::Values(
        // Heights 30/sqrt(2), 30, 30 and a z step of 10: split at the centroid.
        SplitCase{"big_rough", {{0, 0, 0}, {30, 0, 10}, {0, 30, 0}}, 1.0f, 1.0f, 1},
        // Same triangle, tolerance above the z steps: smooth enough.
        SplitCase{"big_smooth", {{0, 0, 0}, {30, 0, 10}, {0, 30, 0}}, 1.0f, 10.0f, 0},
        // The height over the long side is 1, below the minimum: never split, however rough.
        SplitCase{"thin_rough", {{0, 0, 0}, {100, 0, 50}, {50, 1, 0}}, 2.0f, 0.1f, 0},
        // A tolerance exactly equal to the z step is not exceeded (strict).
        SplitCase{"step_at_tolerance", {{0, 0, 0}, {30, 0, 4}, {0, 30, 0}}, 1.0f, 4.0f, 0}),
    [](const ::testing::TestParamInfo<SplitCase>& i) { return std::string(i.param.name); });

TEST(DelaunayRefine, NewPointTakesInterpolatedOrFieldHeight) {
  const std::vector<Pt> pts = {{0, 0, 0}, {30, 0, 9}, {0, 30, 3}};
  TaCIncrementalDelaunay2D plain, fielded;
  Load(plain, pts, 0);
  Load(fielded, pts, 0);
  plain.Triangulate(3, false, false);
  fielded.Triangulate(3, false, false);
  plain.RefineTriangulation(1.0f, 1, 1.0f);
  CSSEMatrix field;
  Fill(field, 40, 40, [](int x, int y) { return float(100 * x + y); });
  fielded.RefineTriangulation(&field, 1.0f, 1, 1.0f);
  ASSERT_EQ(plain.GetNumVertices(), 4);
  ASSERT_EQ(fielded.GetNumVertices(), 4);
  EXPECT_FLOAT_EQ(plain.GetVertex(3).x, 10.0f);
  EXPECT_FLOAT_EQ(plain.GetVertex(3).y, 10.0f);
  EXPECT_FLOAT_EQ(plain.GetVertex(3).z, 4.0f);
  EXPECT_EQ(fielded.GetVertex(3).z, 1010.0f);  // cell (10, 10)
}

TEST(DelaunayRefine, FieldRefinementSkipsMarkedTriangles) {
  const std::vector<Pt> pts = {{0, 0, 0}, {30, 0, 9}, {0, 30, 3}};
  CSSEMatrix field;
  Fill(field, 40, 40, [](int, int) { return 0.0f; });
  for (int mark = 0; mark < 2; ++mark) {
    TaCIncrementalDelaunay2D d;
    Load(d, pts, 0);
    d.Triangulate(3, false, false);
    t_hdelaunaytriangle* t = d.GetTriangleList().GetHead();
    (mark ? t->bBorder : t->bOutside) = true;
    d.RefineTriangulation(&field, 1.0f, 3, 1.0f);
    EXPECT_EQ(d.GetNumVertices(), 3) << "mark " << mark;
    d.RefineTriangulation(1.0f, 1, 1.0f);  // the overload without a field ignores marks
    EXPECT_EQ(d.GetNumVertices(), 4) << "mark " << mark;
  }
}

TEST(DelaunayRefine, TerrainRefinementConvergesAndStaysDelaunay) {
  CSSEMatrix field;
  Fill(field, 128, 128, [](int x, int y) { return float(20.0 * std::sin(x * 0.05) * std::cos(y * 0.04)); });
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, field.GetPoint(0, 0)}, {127, 127, field.GetPoint(127, 127)},
           {0, 127, field.GetPoint(0, 127)}, {127, 0, field.GetPoint(127, 0)}}, 0);
  d.Triangulate(4, false, true);
  d.RefineTriangulation(&field, 2.0f, 50, 1.0f);
  EXPECT_GT(d.GetNumVertices(), 50);
  // Centroids of a smooth field come close to co-circular; the float circle
  // test may leave such a quadruple either way, hence the slack.
  EXPECT_EQ(Check(d, d.GetTriangleList(), {true, true, 1e-3}), "");
  // Converged: another pass adds nothing.
  const int vertices = d.GetNumVertices();
  d.RefineTriangulation(&field, 2.0f, 1, 1.0f);
  EXPECT_EQ(d.GetNumVertices(), vertices);
}

TEST(DelaunayRefine, BorderRefinementFeedsThePartner) {
  CSSEMatrix first, second;
  Fill(first, 64, 64, [](int x, int) { return float(x); });
  Fill(second, 64, 64, [](int x, int) { return float(-x); });
  TaCIncrementalDelaunay2D d, partner(64);
  Load(d, Square(0, 60, 60, 0, 60.0f), 0);
  d.Triangulate(4, false, true);
  d.RefineBorderTriangulation(&first, &second, partner, 1.0f, 1, 1.0f);
  ASSERT_EQ(d.GetNumVertices(), 6);  // both box triangles are border triangles
  ASSERT_EQ(partner.GetNumVertices(), 2);
  for (int i = 0; i < 2; ++i) {
    const SSEPoint a = d.GetVertex(4 + i), b = partner.GetVertex(i);
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, -b.z);
  }
}

TEST(DelaunayRefine, CentroidInsertionTakesTheFieldHeight) {
  CSSEMatrix field;
  Fill(field, 20, 20, [](int, int) { return 5.0f; });
  TaCIncrementalDelaunay2D d;
  Load(d, Square(0, 0, 0, 0), 4);
  d.Triangulate(4, true, true);
  d.HighDerivationInsertPoints(&field, 1.0f, true);
  ASSERT_TRUE(d.IsFinalized());
  ASSERT_EQ(d.GetNumVertices(), 6);
  EXPECT_EQ(d.GetVertex(4).z, 5.0f);
  EXPECT_EQ(d.GetVertex(5).z, 5.0f);
  EXPECT_EQ(Check(d, d.GetFinalTriangleList(), {true, true}), "");
}

TEST(DelaunayRefine, GridPointsOnlyStrictlyInsideTriangles) {
  CSSEMatrix derivative, field;
  Fill(derivative, 20, 20, [](int x, int y) { return (x == 6 && y == 3) ? 1.0f : -100.0f; });
  Fill(field, 20, 20, [](int x, int y) { return float(x + 100 * y); });
  CSSE3dPolygon area;
  area.Create(4);
  area.SetPoint(0, 0, 0, 0);
  area.SetPoint(1, 10, 0, 0);
  area.SetPoint(2, 10, 10, 0);
  area.SetPoint(3, 0, 10, 0);
  for (int step : {5, 3}) {
    for (bool plain : {true, false}) {
      TaCIncrementalDelaunay2D d;
      d.SetReferenceScans(plain);
      Load(d, Square(0, 0, 0, 0), 16);
      d.Triangulate(4, true, true);
      d.HighDerivationInsertPoints(&derivative, &field, area, 5, step, false);
      // step 5: (0|5, 0|5) are corners, sides or on the diagonal. step 3: the
      // nine points of {3, 6, 9}^2 lie inside, (6, 3) has a small derivative.
      const int expected = step == 5 ? 0 : 8;
      ASSERT_EQ(d.GetNumVertices(), 4 + expected) << "step " << step << (plain ? " plain" : " fast");
      if (step == 3) {
        EXPECT_EQ(d.GetVertex(4).x, 3.0f);  // the lower-left triangle first, x then y
        EXPECT_EQ(d.GetVertex(4).y, 3.0f);
        EXPECT_EQ(d.GetVertex(4).z, 303.0f);
      }
      EXPECT_FALSE(d.IsFinalized());
    }
  }
}

TEST(DelaunayRefine, SplitWithoutLegalisationPicksTheHighestTriangle) {
  CSSEMatrix field;
  Fill(field, 20, 20, [](int, int) { return 0.0f; });
  TaCIncrementalDelaunay2D d;
  Load(d, Square(1, 2, 3, 4), 4);
  d.Triangulate(4, true, true);
  SSEPoint p;
  p.m = _mm_setr_ps(2.0f, 3.0f, 0.0f, 0.0f);
  d.AppendVertex(p);
  const auto before = Snapshot(d.GetFinalTriangleList());

  // Flagged: best starts at -99999.9 and must exceed the mean, so nothing is chosen.
  d.InsertVertexIntoTriangulationWithZ(4, &field, true);
  EXPECT_FALSE(d.IsFinalized());
  EXPECT_EQ(FirstDifference(Snapshot(d.GetTriangleList()), before), -1);

  d.InsertVertexIntoTriangulationWithZ(4, &field, false);
  const CDelaunayTriangleList& list = d.GetTriangleList();
  ASSERT_EQ(list.GetCount(), 4);
  // The untouched triangle stays first; the three children follow in split order.
  EXPECT_EQ(list.GetHead()->nVertex[2] == 4 || list.GetHead()->nVertex[0] == 4, false);
  int children = 0;
  for (t_hdelaunaytriangle* t : list) children += (t->nVertex[2] == 4);
  EXPECT_EQ(children, 3);
  EXPECT_EQ(Check(d, list), "");
}

TEST(DelaunayScanConversion, EmptyTriangulationGivesAnEmptyRaster) {
  TaCIncrementalDelaunay2D d;
  d.CalcBoundingBox();
  CSSEMatrix out;
  SSEPoint origin;
  d.ScanConvertTriangulationMax(&out, -1.0f, origin);
  EXPECT_EQ(out.GetSizeX(), 0);
  EXPECT_EQ(out.GetSizeY(), 0);
  d.ScanConvertTriangulationMin(&out, -1.0f, origin);
  EXPECT_EQ(out.GetSizeX(), 0);
}

TEST(DelaunayScanConversion, FlatSquareCoversEveryCellWithItsHeight) {
  TaCIncrementalDelaunay2D d;
  Load(d, Square(5, 5, 5, 5, 16.0f), 0);
  d.Triangulate(4, true, true);
  d.SetScanConvResolution(2.0f, 2.0f, 0.5f);
  EXPECT_FLOAT_EQ(d.GetScanConvResolutionXY(), std::sqrt(8.0f));
  d.CalcBoundingBox();
  EXPECT_EQ(d.CalcCenterPoint().x, 8.0f);
  CSSEMatrix out;
  SSEPoint origin;
  d.ScanConvertTriangulationMax(&out, -1.0f, origin);
  ASSERT_EQ(out.GetSizeX(), 8);
  ASSERT_EQ(out.GetSizeY(), 8);
  EXPECT_EQ(origin.x, 0.0f);
  EXPECT_EQ(origin.z, 5.0f);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) EXPECT_EQ(out.GetPoint(x, y), 10.0f) << x << ", " << y;
}

// Two triangles with the same box and the same lowest z: the common raster
// holds, per cell, the larger (smaller) of what each triangle alone writes.
TEST(DelaunayScanConversion, CellsReachedTwiceKeepTheExtreme) {
  const std::vector<Pt> both = {{0, 0, 3}, {10, 0, 0}, {0, 10, 2}, {10, 10, 20}};
  for (bool max : {true, false}) {
    TaCIncrementalDelaunay2D whole;
    Load(whole, both, 0);
    whole.Triangulate(4, true, false);
    ASSERT_EQ(whole.GetFinalTriangleList().GetCount(), 2);
    const auto convert = [max](TaCIncrementalDelaunay2D& d, CSSEMatrix& out) {
      d.CalcBoundingBox();
      SSEPoint origin;
      if (max)
        d.ScanConvertTriangulationMax(&out, -7.0f, origin);
      else
        d.ScanConvertTriangulationMin(&out, -7.0f, origin);
    };
    CSSEMatrix rasters[3];
    convert(whole, rasters[0]);
    int k = 1;
    for (t_hdelaunaytriangle* t : whole.GetFinalTriangleList()) {
      // The same corners in the same order, alone.
      TaCIncrementalDelaunay2D single;
      std::vector<Pt> corners;
      for (int i = 0; i < 3; ++i) corners.push_back(both[t->nVertex[i]]);
      Load(single, corners, 0);
      single.Triangulate(3, true, false);
      convert(single, rasters[k++]);
    }
    ASSERT_EQ(rasters[0].GetSizeX(), 10);
    int shared = 0;
    for (int y = 0; y < 10; ++y)
      for (int x = 0; x < 10; ++x) {
        const float a = rasters[1].GetPoint(x, y), b = rasters[2].GetPoint(x, y);
        const float expect = a == -7.0f ? b : b == -7.0f ? a : (max ? std::max(a, b) : std::min(a, b));
        shared += (a != -7.0f && b != -7.0f);
        EXPECT_EQ(rasters[0].GetPoint(x, y), expect) << (max ? "max " : "min ") << x << ", " << y;
      }
    EXPECT_GT(shared, 0);
  }
}

TEST(DelaunayFields, NormalsAndCentresFollowTheFinalList) {
  TaCIncrementalDelaunay2D d;
  // The plane z = x: normals (-1, 0, 1) / sqrt(2).
  Load(d, Square(0, 10, 10, 0), 0);
  d.Triangulate(4, false, true);
  d.ComputeNormalVectorsOfTriangles();
  d.ComputeCentresOfTriangles();
  EXPECT_EQ(d.GetNormalVectorField(), nullptr);  // not finalized: nothing
  d.FinalizeTriangleList();
  d.ComputeNormalVectorsOfTriangles();
  d.ComputeCentresOfTriangles();
  ASSERT_NE(d.GetNormalVectorField(), nullptr);
  int slot = 0;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) {
    ASSERT_EQ(t->pNormal, d.GetNormalVectorField() + slot);
    ASSERT_EQ(t->pCenter, d.GetTriangleCentersField() + slot);
    EXPECT_NEAR(t->pNormal->x, -std::sqrt(0.5f), 1e-6f);
    EXPECT_NEAR(t->pNormal->z, std::sqrt(0.5f), 1e-6f);
    EXPECT_EQ(t->pNormal->w, 0.0f);
    const SSEPoint a = d.GetVertex(t->nVertex[0]), b = d.GetVertex(t->nVertex[1]), c = d.GetVertex(t->nVertex[2]);
    EXPECT_FLOAT_EQ(t->pCenter->x, (a.x + b.x + c.x) / 3.0f);
    EXPECT_FLOAT_EQ(t->pCenter->z, (a.z + b.z + c.z) / 3.0f);
    ++slot;
  }
  d.ClearTriangleNormals();
  d.ClearTriangleCenters();
  EXPECT_EQ(d.GetNormalVectorField(), nullptr);
  EXPECT_EQ(d.GetTriangleCentersField(), nullptr);
}

}  // namespace
