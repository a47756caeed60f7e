// Refinement against height fields, the unlegalised split, the grid-point
// insertion, scan conversion, and the normal and centre fields.
#include <gtest/gtest.h>

#include <cmath>

#include "delaunay_predicates.h"
#include "delaunay_test_support.h"
#include "relief/CSSE3dPolygon.h"

using namespace delaunay_test;

namespace {

std::vector<Pt> Square(float z00, float z10, float z11, float z01, float side = 10.0f) {
  return {{0, 0, z00}, {side, side, z11}, {0, side, z01}, {side, 0, z10}};
}

// One pass over a single triangle (none in the zero-pass rows): split at the
// centroid (10, 10) only when big and rough enough (a flat one never is); the field overload reads the cell and skips
// border and outside triangles, the overload without a field interpolates z and ignores the marks.
TEST(DelaunayRefine, SplitsOnlyBigRoughTriangles) {
  CSSEMatrix field;
  Fill(field, 40, 40, [](int x, int y) { return 100 * x + y; });
  const std::vector<Pt> rough = {{0, 0, 0}, {30, 0, 9}, {0, 30, 3}}, step10 = {{0, 0, 0}, {30, 0, 10}, {0, 30, 0}},
                        flat = {{0, 0, 7}, {30, 0, 7}, {0, 30, 7}};
  const struct {
    std::vector<Pt> pts;
    float minHeight, tolerance;
    bool withField;
    int mark, added;
    float z;
    int passes = 1;
  } cases[] = {{step10, 1.0f, 1.0f, false, 0, 1, NAN},  // heights 30/sqrt(2), 30, 30 and a z step of 10
               {rough, 1.0f, 1.0f, false, 0, 0, NAN, 0},
               {rough, 1.0f, 1.0f, true, 0, 0, NAN, 0},
               {flat, 0.01f, 0.001f, false, 0, 0, NAN, 10},
               {flat, 0.01f, 0.001f, true, 0, 0, NAN, 10},
               {step10, 1.0f, 10.0f, false, 0, 0, NAN},  // tolerance above the z steps: smooth enough
               // The height over the long side is 1, below the minimum: never split, however rough.
               {{{0, 0, 0}, {100, 0, 50}, {50, 1, 0}}, 2.0f, 0.1f, false, 0, 0, NAN},
               // A tolerance exactly equal to the z step is not exceeded (strict).
               {{{0, 0, 0}, {30, 0, 4}, {0, 30, 0}}, 1.0f, 4.0f, false, 0, 0, NAN},
               {rough, 1.0f, 1.0f, false, 0, 1, 4.0f},
               {rough, 1.0f, 1.0f, true, 0, 1, 1010.0f},
               {rough, 1.0f, 1.0f, true, 1, 0, NAN},
               {rough, 1.0f, 1.0f, true, 2, 0, NAN},
               {rough, 1.0f, 1.0f, false, 1, 1, 4.0f},
               {rough, 1.0f, 1.0f, false, 2, 1, 4.0f}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "tolerance " << c.tolerance << ", field " << c.withField << ", mark " << c.mark
                                    << ", passes " << c.passes);
    TaCIncrementalDelaunay2D d;
    Build(d, c.pts, false, false, -1, 0);
    t_hdelaunaytriangle* t = d.GetTriangleList().GetHead();
    if (c.mark) (c.mark == 1 ? t->bBorder : t->bOutside) = true;
    c.withField ? d.RefineTriangulation(&field, c.minHeight, c.passes, c.tolerance)
                : d.RefineTriangulation(c.minHeight, c.passes, c.tolerance);
    ASSERT_TRUE(
        AllEqual({FIELD(d.GetNumVertices(), 3 + c.added), FIELD(d.GetTriangleList().GetCount(), 1 + 2 * c.added)}));
    EXPECT_TRUE(ValidList(d, d.GetTriangleList(), false));
    if (c.added) EXPECT_TRUE(SameXY(d.GetVertex(3), 10.0f, 10.0f));
    if (!std::isnan(c.z)) EXPECT_FLOAT_EQ(d.GetVertex(3).z, c.z);
  }
}

TEST(DelaunayRefine, TerrainRefinementConvergesAndStaysDelaunay) {
  CSSEMatrix field;
  Fill(field, 128, 128, [](int x, int y) { return float(20.0 * std::sin(x * 0.05) * std::cos(y * 0.04)); });
  TaCIncrementalDelaunay2D d;
  const auto z = [&](int x, int y) { return field.GetPoint(x, y); };
  Build(d, Square(z(0, 0), z(127, 0), z(127, 127), z(0, 127), 127.0f), false, true, -1, 0);
  d.RefineTriangulation(&field, 2.0f, 50, 1.0f);
  EXPECT_GT(d.GetNumVertices(), 50);
  // Centroids of a smooth field come close to co-circular; the validator
  // allows for the float circle test leaving such a quadruple either way.
  EXPECT_TRUE(ValidList(d, d.GetTriangleList()));
  const int vertices = d.GetNumVertices();
  d.RefineTriangulation(&field, 2.0f, 1, 1.0f);
  EXPECT_EQ(d.GetNumVertices(), vertices);  // converged: another pass adds nothing
}

TEST(DelaunayRefine, BorderRefinementFeedsThePartner) {
  CSSEMatrix first, second;
  Fill(first, 64, 64, [](int x, int) { return x; });
  Fill(second, 64, 64, [](int x, int) { return -x; });
  TaCIncrementalDelaunay2D d, partner(64);
  Build(d, Square(0, 60, 60, 0, 60.0f), false, true, -1, 0);
  d.RefineBorderTriangulation(&first, &second, partner, 1.0f, 1, 1.0f);
  ASSERT_TRUE(AllEqual(
      {FIELD(d.GetNumVertices(), 6), FIELD(partner.GetNumVertices(), 2)}));  // both box triangles are border triangles
  for (int i = 0; i < 2; ++i) {
    const SSEPoint a = d.GetVertex(4 + i), b = partner.GetVertex(i);
    EXPECT_TRUE(AllEqual({FIELD(a.x, b.x), FIELD(a.y, b.y), FIELD(a.z, -b.z)})) << i;
  }
}

TEST(DelaunayRefine, CentroidInsertionTakesTheFieldHeight) {
  CSSEMatrix field;
  Fill(field, 20, 20, [](int, int) { return 5.0f; });
  for (float tolerance : {1.0f, 5.0f}) {  // a height step equal to the tolerance does not count (strict)
    TaCIncrementalDelaunay2D d;
    Build(d, Square(0, 0, 0, 0), true, true, -1, 4);
    d.HighDerivationInsertPoints(&field, tolerance, true);
    ASSERT_TRUE(AllEqual({FIELD(d.IsFinalized(), true), FIELD(d.GetNumVertices(), tolerance < 5.0f ? 6 : 4)}))
        << tolerance;
    if (tolerance < 5.0f) EXPECT_TRUE(AllEqual({FIELD(d.GetVertex(4).z, 5.0f), FIELD(d.GetVertex(5).z, 5.0f)}));
    EXPECT_TRUE(ValidList(d, d.GetFinalTriangleList()));
  }
}

TEST(DelaunayRefine, GridPointsOnlyStrictlyInsideTriangles) {
  CSSEMatrix derivative, field;
  Fill(derivative, 20, 20, [](int x, int y) { return (x == 6 && y == 3) ? 1.0f : -100.0f; });
  Fill(field, 20, 20, [](int x, int y) { return x + 100 * y; });
  CSSE3dPolygon area = Polygon({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
  for (int step : {5, 3}) {  // the plain scans are the scan tests' reference
    TaCIncrementalDelaunay2D d;
    Build(d, Square(0, 0, 0, 0), true, true, -1, 16);
    d.HighDerivationInsertPoints(&derivative, &field, area, 5, step, false);
    // step 5: (0|5, 0|5) are corners, sides or on the diagonal. step 3: the
    // nine points of {3, 6, 9}^2 lie inside, (6, 3) has a small derivative.
    ASSERT_TRUE(AllEqual({FIELD(d.GetNumVertices(), step == 5 ? 4 : 12), FIELD(d.IsFinalized(), false)})) << step;
    // The lower-left triangle first, x then y.
    if (step == 3)
      EXPECT_TRUE(AllEqual({FIELD(d.GetVertex(4).x, 3), FIELD(d.GetVertex(4).y, 3), FIELD(d.GetVertex(4).z, 303)}));
  }
}

TEST(DelaunayRefine, SplitWithoutLegalisationPicksTheHighestTriangle) {
  CSSEMatrix field;
  Fill(field, 20, 20, [](int, int) { return 0.0f; });
  TaCIncrementalDelaunay2D d;
  Build(d, Square(1, 2, 3, 4), true, true, -1, 4);
  SSEPoint p{_mm_setr_ps(2.0f, 3.0f, 0.0f, 0.0f)};
  d.AppendVertex(p);
  const auto before = Snapshot(d.GetFinalTriangleList());
  // Flagged: best starts at -99999.9 and must exceed the mean, so nothing is chosen.
  d.InsertVertexIntoTriangulationWithZ(4, &field, true);
  EXPECT_FALSE(d.IsFinalized());
  EXPECT_TRUE(SameRecords(Snapshot(d.GetTriangleList()), before));
  d.InsertVertexIntoTriangulationWithZ(4, &field, false);
  const CDelaunayTriangleList& list = d.GetTriangleList();
  // The untouched triangle stays first; the three children follow in split order.
  int children = 0;
  for (t_hdelaunaytriangle* t : list) children += (t->nVertex[2] == 4);
  EXPECT_TRUE(AllEqual({FIELD(list.GetCount(), 4), FIELD(children, 3), FIELD(list.GetHead()->nVertex[2] == 4, false),
                        FIELD(list.GetHead()->nVertex[0] == 4, false)}));
  EXPECT_TRUE(ValidList(d, list, false));
}

TEST(DelaunayScanConversion, FlatSquareCoversEveryCellAndEmptyGivesNothing) {
  TaCIncrementalDelaunay2D empty, d;
  CSSEMatrix out;
  SSEPoint origin;
  empty.CalcBoundingBox();
  for (bool max : {true, false}) {
    max ? empty.ScanConvertTriangulationMax(&out, -1.0f, origin)
        : empty.ScanConvertTriangulationMin(&out, -1.0f, origin);
    EXPECT_EQ(out.GetSizeX() + out.GetSizeY(), 0);
  }
  Build(d, Square(5, 5, 5, 5, 16.0f), true, true, -1, 0);
  d.SetScanConvResolution(2.0f, 2.0f, 0.5f);
  EXPECT_FLOAT_EQ(d.GetScanConvResolutionXY(), std::sqrt(8.0f));
  d.CalcBoundingBox();
  d.ScanConvertTriangulationMax(&out, -1.0f, origin);
  ASSERT_TRUE(AllEqual({FIELD(out.GetSizeX(), 8), FIELD(out.GetSizeY(), 8), FIELD(origin.x, 0), FIELD(origin.z, 5)}));
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) EXPECT_EQ(out.GetPoint(x, y), 10.0f) << x << ", " << y;
}

// Two triangles with the same box and the same lowest z: the common raster
// holds, per cell, the larger (smaller) of what each triangle alone writes.
TEST(DelaunayScanConversion, CellsReachedTwiceKeepTheExtreme) {
  const std::vector<Pt> both = {{0, 0, 3}, {10, 0, 0}, {0, 10, 2}, {10, 10, 20}};
  for (bool max : {true, false}) {
    const auto convert = [max](const std::vector<Pt>& pts, CSSEMatrix& out) {
      TaCIncrementalDelaunay2D d;
      Build(d, pts, true, false, -1, 0);
      d.CalcBoundingBox();
      SSEPoint origin;
      max ? d.ScanConvertTriangulationMax(&out, -7.0f, origin) : d.ScanConvertTriangulationMin(&out, -7.0f, origin);
      return Snapshot(d.GetFinalTriangleList());
    };
    CSSEMatrix rasters[3];
    const std::vector<Record> whole = convert(both, rasters[0]);
    ASSERT_EQ(whole.size(), 2u);
    for (int k = 0; k < 2; ++k)  // the same corners in the same order, alone
      convert({both[whole[k].v[0]], both[whole[k].v[1]], both[whole[k].v[2]]}, rasters[k + 1]);
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
  Build(d, Square(0, 10, 10, 0), false, true, -1, 0);  // the plane z = x: normals (-1, 0, 1) / sqrt(2)
  d.ComputeNormalVectorsOfTriangles();
  EXPECT_EQ(d.GetNormalVectorField(), nullptr);  // not finalized: nothing
  d.FinalizeTriangleList();
  d.ComputeNormalVectorsOfTriangles();
  d.ComputeCentresOfTriangles();
  int slot = 0;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) {
    ASSERT_EQ(t->pNormal, d.GetNormalVectorField() + slot);
    ASSERT_EQ(t->pCenter, d.GetTriangleCentersField() + slot++);
    EXPECT_NEAR(t->pNormal->x, -std::sqrt(0.5f), 1e-6f);
    EXPECT_NEAR(t->pNormal->z, std::sqrt(0.5f), 1e-6f);
    EXPECT_EQ(t->pNormal->w, 0.0f);
    const SSEPoint a = d.GetVertex(t->nVertex[0]), b = d.GetVertex(t->nVertex[1]), c = d.GetVertex(t->nVertex[2]);
    EXPECT_FLOAT_EQ(t->pCenter->x, (a.x + b.x + c.x) / 3.0f);
    EXPECT_FLOAT_EQ(t->pCenter->z, (a.z + b.z + c.z) / 3.0f);
  }
}

}  // namespace
