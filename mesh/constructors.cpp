// CHTriangulation constructors: initialise, run one builder, then run the
// derived-data passes that the builder's output needs, skipped for an empty
// result.

#include "mesh/loft.h"
#include "relief/CHTriangulation.h"

namespace {

// The pass sequences the constructors share.
void FieldPasses(CHTriangulation& m) {
  if (m.NumTriangles < 1) return;
  m.CalcBoundingBox();
  m.CalcSTV();
}

void TwoFieldPasses(CHTriangulation& m) {
  if (m.NumTriangles < 1) return;
  m.CalcNeighbours();
  m.CalcBoundingBox();
  m.CalcSTV();
  m.CalcNormalsFromVertices();
}

// Polygon, hull and Delaunay builders write unscaled corners only.
void GeometryPasses(CHTriangulation& m) {
  if (m.NumTriangles < 1) return;
  m.ScaleTriangulation();
  m.CalcSTV();
  m.CalcNormalsFromVertices();
  m.CalcBoundingBox();
}

// The external mesh types are never read, so these conversions produce no
// triangles; the passes and the Type tag stay in place for the day they do.
void ExternalPasses(CHTriangulation& m, int type) {
  if (m.NumTriangles < 1) return;
  m.CalcBoundingBox();
  m.CalcSTV();
  m.CalcNormalsFromVertices();
  if (type == 0) return;
  for (int i = 0; i < m.NumTriangles; ++i) m.Triangles[i].Type = type;
}

}  // namespace

CHTriangulation::CHTriangulation() { BaseInitialization(1.0f, 1.0f, 1.0f); }

CHTriangulation::CHTriangulation(CHTriangulation* src) {
  BaseInitialization(src->ScaleX, src->ScaleY, src->ScaleZ);
  CopyFromHTriangulation(src);
}

CHTriangulation::CHTriangulation(const CHTriangulation& src) : CHTriangulation(const_cast<CHTriangulation*>(&src)) {}

CHTriangulation::CHTriangulation(int n, float sx, float sy, float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulation(n);
}

CHTriangulation::CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEField(field, threshold, above);
  FieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(field, threshold, above, stepX, stepY);
  FieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY, CSSE3dPolygon* polygon) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(field, threshold, above, stepX, stepY, polygon);
  FieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz, int a,
                                 int b, int c, int d, int e, int f, bool flag) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(field, threshold, above, a, b, c, d, e, f, flag);
  FieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* top, CSSEMatrix* bottom, bool flag, float sx, float sy, float sz,
                                 int stepX, int stepY) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampledTwoFields(top, bottom, flag, stepX, stepY);
  TwoFieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* top, CSSEMatrix* bottom, bool flag, float sx, float sy, float sz, int a,
                                 int b, int c, int d, int e, int f) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampledTwoFields(top, bottom, flag, a, b, c, d, e, f);
  TwoFieldPasses(*this);
}

CHTriangulation::CHTriangulation(CSSE3dPolygon* polygon, float sx, float sy, float sz, int step, float parameter,
                                 bool fan, bool refine) {
  BaseInitialization(sx, sy, sz);
  if (fan)
    CreateSimpleFanTriangulationFromPolygon(polygon);
  else
    CreateTriangulationFromPolygon(polygon, step, parameter, refine);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(CSSE3dPolygon* polygon, float sx, float sy, float sz, CSSEMatrix* field, bool top,
                                 float offset, int step, float parameter, bool refine) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromPolygon(polygon, step, parameter, refine);
  // The constraint works in the polygon's raster units, before scaling.
  if (field) ConstrainWithHeightField(top, field, offset);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(CSSE3dPolygon* first, CSSE3dPolygon* second, float sx, float sy, float sz, bool flip,
                                 bool closeEnds) {
  BaseInitialization(sx, sy, sz);
  relief::detail::LoftPolygons(*this, first, second, 1, flip, closeEnds);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(CSSE3dPolygon* first, CSSE3dPolygon* second, float sx, float sy, float sz, int step,
                                 bool flip, bool closeEnds) {
  BaseInitialization(sx, sy, sz);
  relief::detail::LoftPolygons(*this, first, second, step, flip, closeEnds);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(CH2DDelaunay* delaunay, float sx, float sy, float sz, bool flat) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFrom2DDelaunay(delaunay, flat);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(CHConvexHull3D* hull, float sx, float sy, float sz, float divisor) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromHull3D(hull, divisor);
  GeometryPasses(*this);
}

CHTriangulation::CHTriangulation(NyTriangulationStatic* mesh, float sx, float sy, float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromNyTriangulation(mesh);
  ExternalPasses(*this, 9);
}

CHTriangulation::CHTriangulation(NyTriangulationStatic* mesh) {
  BaseInitialization(1.0f, 1.0f, 1.0f);
  CreateTriangulationFromNyTriangulation(mesh);
  ExternalPasses(*this, 9);
}

CHTriangulation::CHTriangulation(NyTriangulationStatic* mesh, CSSE3dPolygon* polygon, float sx, float sy, float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromNyTriangulation(mesh, polygon);
  ExternalPasses(*this, 0);
}

CHTriangulation::CHTriangulation(NyTriangulationDynamic* mesh, CSSE3dPolygon* polygon, float sx, float sy,
                                 float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromNyTriangulation(mesh, polygon);
  ExternalPasses(*this, 3);
}

CHTriangulation::CHTriangulation(NyTriangulationDynamic* mesh) {
  BaseInitialization(1.0f, 1.0f, 1.0f);
  CreateTriangulationFromNyTriangulation(mesh);
  ExternalPasses(*this, 3);
}

CHTriangulation::CHTriangulation(NyTriangulationDynamic* mesh, float sx, float sy, float sz) {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromNyTriangulation(mesh);
  ExternalPasses(*this, 0);
}
