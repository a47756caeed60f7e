// Refinement of the working triangulation against a height field: new points
// where triangles are large and rough, z taken from the field or interpolated.
#include <cmath>

#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_refine_helpers.h"

using relief::detail::Centroid;
using relief::detail::FieldAt;

namespace relief::detail {

// Height of c over edge a-b, in the x/y plane: c minus the edge's midpoint,
// projected on the edge's unit normal. The normal has no z or w, so those
// lanes drop out of the four-lane product.
static float HeightOver(__m128 a, __m128 b, __m128 c) {
  const __m128 d = _mm_sub_ps(b, a);
  SSEPoint n;
  n.m = d;
  n.m = _mm_setr_ps(n.y, -n.x, 0.0f, 0.0f);
  const __m128 unit = CSSEFns::normalizevector(n.m);
  const __m128 mid = _mm_div_ps(_mm_add_ps(a, b), _mm_set1_ps(2.0f));
  return CSSEFns::scalarproduct(_mm_sub_ps(c, mid), unit);
}

bool BigEnough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float minHeightSqr) {
  const float hc = HeightOver(a.m, b.m, c.m);
  const float ha = HeightOver(b.m, c.m, a.m);
  const float hb = HeightOver(c.m, a.m, b.m);
  return hc * hc > minHeightSqr && ha * ha > minHeightSqr && hb * hb > minHeightSqr;
}

bool Rough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float zToleranceSqr) {
  const float dab = a.z - b.z, dbc = b.z - c.z, dca = c.z - a.z;
  return dab * dab > zToleranceSqr || dbc * dbc > zToleranceSqr || dca * dca > zToleranceSqr;
}

// What a refinement run looks at and where its new points take z from.
struct RefineRule {
  enum Scope { kAllTriangles, kUnmarkedTriangles, kBorderTriangles };
  Scope scope;
  float minHeightSqr;   // squares taken once, in double, rounded to float
  float zToleranceSqr;
  bool zFromField;      // z from field (0 without one); otherwise the centroid's own z
  CSSEMatrix* field;
  TaCIncrementalDelaunay2D* partner;  // also receives every point, z from partnerField
  CSSEMatrix* partnerField;

  bool Looks(const t_hdelaunaytriangle* t) const {
    switch (scope) {
      case kUnmarkedTriangles: return !t->bOutside && !t->bBorder;
      case kBorderTriangles: return !t->bOutside && t->bBorder;
      default: return true;
    }
  }
};

static float SquareRoundedToFloat(float v) { return static_cast<float>(static_cast<double>(v) * v); }

}  // namespace relief::detail

void TaCIncrementalDelaunay2D::InsertNewVertices(int from) {
  for (int v = from; v < GetNumVertices(); ++v) InsertVertexIntoTriangulation(v);
}

void TaCIncrementalDelaunay2D::RefineTriangulation(float minHeight, int maxPasses, float zTolerance) {
  using relief::detail::RefineRule;
  using relief::detail::SquareRoundedToFloat;
  const RefineRule rule{RefineRule::kAllTriangles, SquareRoundedToFloat(minHeight), SquareRoundedToFloat(zTolerance),
                        false, nullptr, nullptr, nullptr};
  RefinePasses(rule, maxPasses);
}

void TaCIncrementalDelaunay2D::RefineTriangulation(CSSEMatrix* field, float minHeight, int maxPasses,
                                                   float zTolerance) {
  using relief::detail::RefineRule;
  using relief::detail::SquareRoundedToFloat;
  const RefineRule rule{RefineRule::kUnmarkedTriangles, SquareRoundedToFloat(minHeight),
                        SquareRoundedToFloat(zTolerance), field != nullptr, field, nullptr, nullptr};
  RefinePasses(rule, maxPasses);
}

void TaCIncrementalDelaunay2D::RefineBorderTriangulation(CSSEMatrix* first, CSSEMatrix* second,
                                                         TaCIncrementalDelaunay2D& partner, float minHeight,
                                                         int maxPasses, float zTolerance) {
  using relief::detail::RefineRule;
  using relief::detail::SquareRoundedToFloat;
  const RefineRule rule{RefineRule::kBorderTriangles, SquareRoundedToFloat(minHeight), SquareRoundedToFloat(zTolerance),
                        true, first, &partner, second};
  RefinePasses(rule, maxPasses);
}

// Passes run while the previous one added a point to this triangulation.
void TaCIncrementalDelaunay2D::RefinePasses(const relief::detail::RefineRule& rule, int maxPasses) {
  int added = 1;
  for (int pass = 0; pass < maxPasses && added > 0; ++pass) added = RefinePass(rule);
}

// One pass. New points are collected over the whole list first and inserted
// afterwards, so the list being walked never changes under the walk; the
// container grows once per pass to the worst case of one point per triangle.
// Returns the number of points added to this triangulation.
int TaCIncrementalDelaunay2D::RefinePass(const relief::detail::RefineRule& rule) {
  using relief::detail::RefineRule;
  TaCIncrementalDelaunay2D* partner = rule.partner;
  if (rule.scope == RefineRule::kBorderTriangles) IsolateTrianglesWithoutNeighbour();
  const int before = GetNumVertices();
  const int partnerBefore = partner ? partner->GetNumVertices() : 0;
  const int wanted = before + m_TriangleList.GetCount();
  if (GetMaxNumVertices() < wanted) ReallocSize(wanted);
  for (t_hdelaunaytriangle* t : m_TriangleList) {
    if (!rule.Looks(t)) continue;
    const SSEPoint& a = m_pVertices[t->nVertex[0]];
    const SSEPoint& b = m_pVertices[t->nVertex[1]];
    const SSEPoint& c = m_pVertices[t->nVertex[2]];
    if (!relief::detail::BigEnough(a, b, c, rule.minHeightSqr) || !relief::detail::Rough(a, b, c, rule.zToleranceSqr))
      continue;
    SSEPoint p = Centroid(a, b, c);
    if (rule.zFromField) p.z = FieldAt(rule.field, p.x, p.y);
    AppendVertex(p);
    if (partner) {
      SSEPoint q = p;
      q.z = FieldAt(rule.partnerField, p.x, p.y);
      partner->AppendVertex(q);
    }
  }
  const int added = GetNumVertices() - before;
  InsertNewVertices(before);
  if (partner) partner->InsertNewVertices(partnerBefore);
  return added;
}

// Centroids of triangles whose corners, centroid or field value differ by
// more than the tolerance; the new point takes the field's height.
void TaCIncrementalDelaunay2D::HighDerivationInsertPoints(CSSEMatrix* field, float zTolerance, bool finalize) {
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  const float tolSqr = static_cast<float>(static_cast<double>(zTolerance) * zTolerance);
  const int before = GetNumVertices();
  for (t_hdelaunaytriangle* t : m_TriangleList) {
    if (t->bOutside || t->bBorder) continue;
    const SSEPoint& a = m_pVertices[t->nVertex[0]];
    const SSEPoint& b = m_pVertices[t->nVertex[1]];
    const SSEPoint& c = m_pVertices[t->nVertex[2]];
    SSEPoint p = Centroid(a, b, c);
    const float h = FieldAt(field, p.x, p.y);
    const auto over = [tolSqr](float d) { return d * d > tolSqr; };
    if (over(a.z - b.z) || over(b.z - c.z) || over(c.z - a.z) || over(p.z - h) || over(b.z - h) ||
        over(c.z - h)) {
      p.z = h;
      AppendVertex(p);
    }
  }
  InsertNewVertices(before);
  if (finalize) FinalizeTriangleList();
}

// Picks, among the working triangles that hold the vertex (inside or on a
// side), the one with the greatest mean z above the field and splits it in
// place. The flagged form asks for best > mean with best starting at
// -99999.9, so it never selects anything for ordinary heights; callers rely
// on that.
void TaCIncrementalDelaunay2D::InsertVertexIntoTriangulationWithZ(int vertex, CSSEMatrix* field, bool flag) {
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  if (vertex < 0 || vertex >= GetNumVertices()) return;
  float best = -99999.9f;
  t_hdelaunaytriangle* chosen = nullptr;
  EPointWhere chosenWhere = ePointOutside;
  for (t_hdelaunaytriangle* t : m_TriangleList) {
    const EPointWhere where = PointWhere(vertex, t);
    if (where == ePointOutside) continue;
    const SSEPoint& a = m_pVertices[t->nVertex[0]];
    const SSEPoint& b = m_pVertices[t->nVertex[1]];
    const SSEPoint& c = m_pVertices[t->nVertex[2]];
    const double mx = (static_cast<double>(a.x) + b.x + c.x) / 3.0;
    const double my = (static_cast<double>(a.y) + b.y + c.y) / 3.0;
    const float mz = (a.z + b.z + c.z) / 3.0f;
    const float h = FieldAt(field, mx, my);
    const bool qualifies = flag ? (best > mz && h > mz) : (mz > best && mz > h);
    if (qualifies) {
      chosen = t;
      chosenWhere = where;
      best = mz;
    }
  }
  if (chosen) BuildNewTriangles(vertex, chosenWhere, chosen, chosen);
}

void TaCIncrementalDelaunay2D::BuildNewTriangles(int vertex, EPointWhere where, t_hdelaunaytriangle* triangle,
                                                 CDelaunayTriangleList::POSITION position) {
  (void)position;  // the record carries its own links
  t_hdelaunaytriangle* children[4] = {};
  const int made = MakeChildren(vertex, where, triangle, children);
  if (made == 0) return;
  RemoveFromWorking(triangle);
  ReleaseTriangle(triangle);
  for (int i = 0; i < made; ++i) AppendToWorking(children[i]);
  KillIgnoredTriangles();
}
