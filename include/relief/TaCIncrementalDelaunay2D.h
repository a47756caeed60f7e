#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <emmintrin.h>

#include "relief/CDelaunayEdgeList.h"
#include "relief/Export.h"
#include "relief/SSEPoint.h"
#include "relief/TaCSSEVertexContainer.h"

class CSSE3dPolygon;
class CSSEMatrix;
namespace relief::detail {
class CCircleGrid;
class CTrianglePool;
struct RefineRule;
struct TriangleSide;
}

// A triangle side: side 0 runs from vertex 0 to 1, side 1 from 1 to 2, side 2
// from 2 to 0. eNoCommonSide (-1) says two triangles share no side.
enum ESharedSide { eNoCommonSide = -1, eSide0 = 0, eSide1 = 1, eSide2 = 2 };

// Where a point lies relative to a triangle (PointWhere). A point within the
// 0.005 tolerance of a corner is ePointOutside.
enum EPointWhere { ePointOutside = 0, ePointInside = 1, ePointOnSide0 = 2, ePointOnSide1 = 3, ePointOnSide2 = 4 };

class CDelaunayTriangleList;

// One triangle of the triangulation, over indices into the vertex array.
// Zero-filled when made; owned by exactly one list at a time.
struct t_hdelaunaytriangle {
  int32_t nVertex[3];                       // counter-clockwise in a legal triangle
  float fCenterX, fCenterY;                 // circumcentre
  float fRadiusSqr;                         // circumradius squared
  t_hdelaunaytriangle* pNeighbour[3];       // across side 0, 1, 2; null on the hull
  bool bKill;                               // split; deleted by the next sweep of its list
  bool bOutside;                            // outside the bounding polygon
  bool bBorder;                             // border triangle (IsolateTrianglesWithoutNeighbour)
  bool bLocked;                             // never affected, never flipped into
  SSEPoint* pNormal;                        // slot in the normal-vector field, or null
  SSEPoint* pCenter;                        // slot in the triangle-centres field, or null

  // Bookkeeping of the lists and of the search structures; never part of a result.
  t_hdelaunaytriangle* pPrev;
  t_hdelaunaytriangle* pNext;
  uint64_t nSequence;                       // rank of its last append to the working list
  uint32_t nWorkingEpoch;                   // working-list generation it was filed in, 0 when not
  int32_t nPoolIndex;                       // index in its triangulation's record pool, or -1
  int32_t nHullSlot;                        // index in the hull-side register, or -1
  int16_t nGridBox[4];                      // grid cells it is filed in (x0, y0, x1, y1)
  int16_t nGridLevel;                       // grid level it is filed in, or -1 when not filed
  uint64_t nChangedAt;                      // flip clock of its last change by a legalisation
};
// FindCommonSide reads the corners with one 16-byte load: the word after them
// must belong to the record.
static_assert(offsetof(t_hdelaunaytriangle, fCenterX) == offsetof(t_hdelaunaytriangle, nVertex) + 12,
              "the corners are followed by the circle inside the record");


// A doubly linked list of triangle pointers with the order semantics of a
// plain pointer list: appends go to the tail, removal keeps the order of the
// rest. The links live in the triangles, so moving a triangle between lists
// costs nothing and removing one needs no search. A triangle is in at most one
// list; adding one that is already listed is a caller error.
class RELIEF_API CDelaunayTriangleList {
 public:
  typedef t_hdelaunaytriangle* POSITION;

  class iterator {
   public:
    explicit iterator(t_hdelaunaytriangle* t) : m_p(t) {}
    t_hdelaunaytriangle* operator*() const { return m_p; }
    iterator& operator++() {
      m_p = m_p->pNext;
      return *this;
    }
    bool operator!=(const iterator& o) const { return m_p != o.m_p; }
    bool operator==(const iterator& o) const { return m_p == o.m_p; }

   private:
    t_hdelaunaytriangle* m_p;
  };

  CDelaunayTriangleList() = default;
  CDelaunayTriangleList(const CDelaunayTriangleList&) = delete;
  CDelaunayTriangleList& operator=(const CDelaunayTriangleList&) = delete;
  // Unlinks but does not delete: the owner deletes its triangles first.
  ~CDelaunayTriangleList() { RemoveAll(); }

  int GetCount() const { return m_nCount; }
  bool IsEmpty() const { return m_nCount == 0; }
  t_hdelaunaytriangle* GetHead() const { return m_pHead; }
  t_hdelaunaytriangle* GetTail() const { return m_pTail; }
  iterator begin() const { return iterator(m_pHead); }
  iterator end() const { return iterator(nullptr); }

  void AddTail(t_hdelaunaytriangle* t) {
    t->pNext = nullptr;
    t->pPrev = m_pTail;
    if (m_pTail)
      m_pTail->pNext = t;
    else
      m_pHead = t;
    m_pTail = t;
    ++m_nCount;
  }
  void RemoveAt(t_hdelaunaytriangle* t) {
    if (t->pPrev)
      t->pPrev->pNext = t->pNext;
    else
      m_pHead = t->pNext;
    if (t->pNext)
      t->pNext->pPrev = t->pPrev;
    else
      m_pTail = t->pPrev;
    t->pPrev = t->pNext = nullptr;
    --m_nCount;
  }
  // Moves every triangle of other, in order, to the end of this list.
  void TakeAll(CDelaunayTriangleList& other);
  // Empties the list without deleting the triangles.
  void RemoveAll();
  // Empties the list without touching its records, which their owner has
  // freed or is about to free.
  void Abandon() {
    m_pHead = m_pTail = nullptr;
    m_nCount = 0;
  }

 private:
  t_hdelaunaytriangle* m_pHead = nullptr;
  t_hdelaunaytriangle* m_pTail = nullptr;
  int m_nCount = 0;
};

// Incremental Delaunay triangulation of the container's points in the x/y
// plane, refined against height fields on request.
//
// Only x and y take part in the geometric tests; z and w ride along. Cross
// products are formed in double, rounded to float and compared with 0.005;
// circumcircles are float. The results (vertex order in each triangle, the
// order of each list, the neighbour slots) are stable: the point search
// through the circle grid and the hull-side register visits exactly what a
// scan of the whole working list would, in the same order (see
// SetReferenceScans).
//
// Robustness: a split on a side (the 0.005 tolerance) is made only when its
// pieces turn strictly counter-clockwise by exact orientation, otherwise the
// point splits its triangle into three or is left to the neighbour; on a hull
// side a point strictly inside splits into three and one strictly outside is
// an exterior point, so the hull stays convex; no flip is made across a
// quadrilateral that is not convex; hull sides are visible by exact sign. A
// split neighbour is deleted at once, wherever it is listed.
//
// Coordinate range: circles are float and formed from absolute coordinates,
// so their error grows with the square of the coordinates' magnitude M
// (about 2^-21 M^2 / L for a triangle of size L). Measured on 5,000 uniform
// points 4 units apart: with M up to about 540 no point lies deeper inside a
// circle than 0.05 % of its radius; at M about 800 thin triangles' circles
// already let points half a radius inside, and near a corner a point can be
// missed by every circle (it then stays out). The triangulation itself
// (counter-clockwise triangles, consistent neighbours, the hull tiled) holds
// to M = 16,000 on the same sets and on grids. Callers with larger
// coordinates triangulate relative to the data's minimum corner and add it
// back. Nonzero coordinates below 2^-63 in magnitude are out of range too:
// their squares underflow and the circles through them collapse.
//
// Lists: between Triangulate and FinalizeTriangleList the triangles are in the
// working list (GetTriangleList); afterwards in the final list
// (GetFinalTriangleList). Failures: nothing is reported; memory exhaustion
// throws CMemoryException.
class RELIEF_API TaCIncrementalDelaunay2D : public TaCSSEVertexContainer {
 public:
  TaCIncrementalDelaunay2D();
  explicit TaCIncrementalDelaunay2D(int maxVertices);
  ~TaCIncrementalDelaunay2D();
  TaCIncrementalDelaunay2D(const TaCIncrementalDelaunay2D&) = delete;
  TaCIncrementalDelaunay2D& operator=(const TaCIncrementalDelaunay2D&) = delete;

  // Clears the int, the finalized flag and the field pointers; frees nothing.
  void InitializeObject();

  // Triangulates vertices 0 .. min(count, vertex count) - 1. Without box start
  // the first three points form the start triangle (vertices 0 and 1 swapped
  // when it is not counter-clockwise); with box start two triangles span the
  // points' bounding box, whose corners are appended as vertices when no
  // vertex sits there already (if the container has no room for a corner the
  // triangulation stays empty). Fewer than three vertices: nothing happens.
  void Triangulate(int count, bool finalize, bool boxStart);
  // Starts from the polygon's leftmost, rightmost and topmost points (the
  // container must hold the polygon's points under the same indices), inserts
  // the rest and marks the triangles whose centroid is outside the polygon.
  // The three are chosen independently: when one point is both the rightmost
  // and the topmost (as in many three-cornered polygons) the start triangle
  // repeats it and the result is no valid triangulation; such polygons want
  // the start without a polygon.
  void Triangulate(CSSE3dPolygon* polygon, int count, bool finalize);

  // Appends (x, y, 0, 0) and inserts it; dropped when the container is full.
  void InsertVertexIntoTriangulation(float x, float y, bool finalize);
  // Inserts an existing vertex into the working list (no finalisation).
  void InsertVertexIntoTriangulation(int vertex);
  // Splits the triangle holding the vertex with the greatest mean z above the
  // height field (or, flagged, the lowest one below it) without re-making the
  // triangulation Delaunay. The flagged form starts its search at -99999.9 and
  // so selects nothing for ordinary heights.
  void InsertVertexIntoTriangulationWithZ(int vertex, CSSEMatrix* field, bool flag);
  void BuildNewTriangles(int vertex, EPointWhere where, t_hdelaunaytriangle* triangle,
                         CDelaunayTriangleList::POSITION position);

  // Insertion steps, public for diagnostics and for tests.
  int CalcAffectedTriangles(int vertex);
  void ProcessAffectedTriangles(int vertex);
  void LegalizeEdges();
  void KillIgnoredTriangles();
  void AddNewTrianglesToList();
  void AppendExteriorPoint(int vertex);

  void FinalizeTriangleList();
  void CopyFinalTriangleListToTriangleList();
  void ClearAffectedTriangleList();
  void ClearTriangleList();
  void ClearFinalTriangleList();
  void CheckTriangleList() {}

  EPointWhere PointWhere(int vertex, t_hdelaunaytriangle* t) const;
  EPointWhere PointWhere(float x, float y, t_hdelaunaytriangle* t) const;
  bool InCircumCircle(int vertex, t_hdelaunaytriangle* t) const;
  void CalcCircumCircle(t_hdelaunaytriangle* t);
  int GetOrientation(t_hdelaunaytriangle* t) const;

  void SplitTriangleIntoThree(int vertex, t_hdelaunaytriangle* old, t_hdelaunaytriangle* x,
                              t_hdelaunaytriangle* y, t_hdelaunaytriangle* z);
  void SplitTriangleIntoTwo(int vertex, ESharedSide side, t_hdelaunaytriangle* old, t_hdelaunaytriangle* x,
                            t_hdelaunaytriangle* y);
  static void CopyTriangle(const t_hdelaunaytriangle* from, t_hdelaunaytriangle* to);
  // A standalone zero-filled record, and its deletion once no list holds it.
  // The triangulation's own records come from its pool instead.
  static t_hdelaunaytriangle* InitNewTriangle();
  static void DeleteTriangle(t_hdelaunaytriangle* t);
  static void FindNeighbours(t_hdelaunaytriangle* a, t_hdelaunaytriangle* b);
  // The first side of `second` joining the same two vertices as `side` of
  // `first`, in either direction. The legalisation asks this for every side
  // it checks, so all three sides are compared at once, without branches.
  static ESharedSide FindCommonSide(ESharedSide side, const t_hdelaunaytriangle* first,
                                    const t_hdelaunaytriangle* second) {
    if (side < eSide0 || side > eSide2) return eNoCommonSide;
    // The lowest set bit of the mask of matching sides; -1 for none.
    static constexpr signed char kFirstSide[8] = {-1, 0, 1, 0, 2, 0, 1, 0};
    return static_cast<ESharedSide>(kFirstSide[CommonSideMask(side, first, second)]);
  }
  // Bit j set when side j of `second` joins the same two vertices as `side`
  // of `first` (0 .. 2), in either direction.
  static int CommonSideMask(int side, const t_hdelaunaytriangle* first, const t_hdelaunaytriangle* second) {
    const __m128i a = _mm_set1_epi32(first->nVertex[side]);
    const __m128i b = _mm_set1_epi32(first->nVertex[side == eSide2 ? 0 : side + 1]);
    // One load takes the corners and the word after them (the circle's x),
    // whose lane the mask below drops.
    const __m128i from = _mm_loadu_si128(reinterpret_cast<const __m128i*>(second->nVertex));
    const __m128i to = _mm_shuffle_epi32(from, _MM_SHUFFLE(3, 0, 2, 1));  // (v1, v2, v0, -)
    const __m128i same = _mm_and_si128(_mm_cmpeq_epi32(from, a), _mm_cmpeq_epi32(to, b));
    const __m128i reversed = _mm_and_si128(_mm_cmpeq_epi32(from, b), _mm_cmpeq_epi32(to, a));
    return _mm_movemask_ps(_mm_castsi128_ps(_mm_or_si128(same, reversed))) & 7;
  }
  // Every neighbour of `me` that points to `old` points to `me` instead.
  static void ReplaceMeInNeighbours(t_hdelaunaytriangle* me, t_hdelaunaytriangle* old);
  // In `in`, every neighbour slot holding `old` gets `replacement`.
  static void ReplaceNeighbourInNeighbour(t_hdelaunaytriangle* in, t_hdelaunaytriangle* old,
                                          t_hdelaunaytriangle* replacement) {
    if (!in) return;
    for (int s = 0; s < 3; ++s)
      if (in->pNeighbour[s] == old) in->pNeighbour[s] = replacement;
  }
  // True when the two vertex pairs name the same edge in either direction.
  static bool EdgesEqual(int a0, int a1, int b0, int b1) {
    return (a0 == b0 && a1 == b1) || (a0 == b1 && a1 == b0);
  }

  // The first triangle of the final list containing (x, y) strictly; null
  // when none does or the object is not finalized.
  t_hdelaunaytriangle* FindTriangleFromCoords(float x, float y);

  // Marks (final list when finalized, else working list).
  void IsolateTrianglesWithoutNeighbour();
  void ResetBorderTriangles();
  void IgnoreBorderTriangles();
  void ResetIgnoreBorderTriangles();
  void ResetIgnoreStateOfTriangles();  // working list only
  static void FlipTriangleOrientation(t_hdelaunaytriangle* t);

  // Refinement against height fields: passes that split large, rough
  // triangles of the working list at their centroids. A pass looks at every
  // triangle first and only then inserts the points it collected, in index
  // order, by InsertVertexIntoTriangulation(int) (Delaunay legalisation, no
  // finalisation); the vertex container grows first to room for one point per
  // triangle. Passes stop after maxPasses (0 changes nothing) or after a pass
  // that added no point.
  //
  // A triangle is split when both hold (compared as squares, strictly; the
  // squares of minHeight and zTolerance are taken in double, then rounded to
  // float):
  //  - big enough: its three altitudes (the "heights": each corner's distance
  //    in the x/y plane from the line through the opposite side) all exceed
  //    minHeight. Long thin triangles therefore stay, however rough;
  //  - rough: the z of some two corners differ by more than zTolerance (each
  //    difference rounded to float before squaring). A flat triangulation is
  //    never refined, whatever its triangle sizes.
  // The new point is the centroid, the mean of the three corners in all four
  // lanes ((a + b + c) / 3).
  //
  // Without a field every working triangle is looked at, marks ignored, and
  // the new point keeps the centroid's z (interpolated from the corners).
  // With a field, triangles with the outside or the third mark are skipped
  // and the new point's z is the field's value at the centroid's cell (x and
  // y plus 0.5, truncated, clamped into the field); a null field keeps the
  // interpolated z.
  void RefineTriangulation(float minHeight, int maxPasses, float zTolerance);
  void RefineTriangulation(CSSEMatrix* field, float minHeight, int maxPasses, float zTolerance);
  // The border form: each pass first sets the third mark on the triangles
  // lacking a neighbour (IsolateTrianglesWithoutNeighbour) and looks only at
  // those, outside mark clear. The new point takes z from first (0 when
  // null) and goes into this triangulation; a copy with z from second at
  // the same cell goes to partner. After the scan this object's points are
  // inserted, then the partner's into the partner. Only points added here
  // keep the passes going.
  void RefineBorderTriangulation(CSSEMatrix* first, CSSEMatrix* second, TaCIncrementalDelaunay2D& partner,
                                 float minHeight, int maxPasses, float zTolerance);
  void HighDerivationInsertPoints(CSSEMatrix* derivative, CSSEMatrix* field, CSSE3dPolygon& area,
                                  int threshold, int step, bool finalize);
  void HighDerivationInsertPoints(CSSEMatrix* field, float zTolerance, bool finalize);

  // Scan conversion into a raster of cell size (rx, ry); values are z / rz.
  // The bounding box must be current (CalcBoundingBox). The output covers the
  // box (an empty triangulation gives a 0 x 0 raster); origin receives the
  // box minimum. Untouched cells hold emptyValue.
  void SetScanConvResolution(float rx, float ry, float rz);
  void ScanConvertTriangulationMax(CSSEMatrix* output, float emptyValue, SSEPoint& origin);
  void ScanConvertTriangulationMin(CSSEMatrix* output, float emptyValue, SSEPoint& origin);
  void CalcBoundingBox();
  // The centre of the bounding box as last computed.
  SSEPoint CalcCenterPoint();
  const SSEPoint& GetBoundingBoxMin() const { return m_pBoundingBox[0]; }
  const SSEPoint& GetBoundingBoxMax() const { return m_pBoundingBox[1]; }

  // Per-triangle normals and centroids of the final list (nothing when not finalized).
  void ComputeNormalVectorsOfTriangles();
  void ComputeNormalVectorOfTriangle(t_hdelaunaytriangle* t);
  void ComputeCentresOfTriangles();
  static void ComputeCentreOfTriangle(SSEPoint* p0, SSEPoint* p1, SSEPoint* p2, SSEPoint* out);
  void CreateNormalVectorField(int count);
  void CreateTriangleCentersField(int count);
  void ClearTriangleNormals();
  void ClearTriangleCenters();
  static void CrossProduct(SSEPoint* a, SSEPoint* b, SSEPoint* out);
  static void NormalizeVector(SSEPoint* v);

  // true: every search scans the whole list as the plain algorithm does (the
  // reference the tests compare against); false (default): the circle grid,
  // the hull-side register and box-limited grid visits. Results are identical.
  void SetReferenceScans(bool plain);
  bool GetReferenceScans() const { return m_bReferenceScans; }
  // Triangulate (both forms) of fewer points than this scans plainly even when
  // the search structures are on: below a couple of hundred points the whole
  // list is shorter than their upkeep. Default 200; 0 always uses them. The
  // triangles are the same either way.
  void SetPlainScansBelow(int points) { m_nPlainScansBelow = points; }
  int GetPlainScansBelow() const { return m_nPlainScansBelow; }

  const CDelaunayTriangleList& GetTriangleList() const { return m_TriangleList; }
  const CDelaunayTriangleList& GetAffectedTriangleList() const { return m_AffectedTriangleList; }
  const CDelaunayTriangleList& GetFinalTriangleList() const { return m_FinalTriangleList; }
  bool IsFinalized() const { return m_bFinalized; }
  float GetScanConvResolutionX() const { return m_fResolutionX; }
  float GetScanConvResolutionY() const { return m_fResolutionY; }
  float GetScanConvResolutionZ() const { return m_fResolutionZ; }
  float GetScanConvResolutionXY() const { return m_fResolutionXY; }
  SSEPoint* GetNormalVectorField() const { return m_pNormalVectors; }
  SSEPoint* GetTriangleCentersField() const { return m_pTriangleCenters; }

  // ---- border, combination and edge routines -----------------------------
  // All of them read and change the current list: the final list when the
  // object is finalized, else the working list (CombineTriangulations and
  // InsertOtherTriangulation move a final list back first, like any insertion).
  // A border side is a side of a triangle without the outside mark whose
  // neighbour is missing or has the outside mark.

  // The seven edge lists. Border lists hold the loops of the last
  // GetTriangulationBorder; the combination lists the loops of open sides
  // (sides without neighbour: hull and hole rims) before and after the last
  // InsertOtherTriangulation; the rim list the sides left open by the
  // last RemoveTrianglesInPolygon; the flip list one edge per successful
  // FlipEdge (its new diagonal), until cleared. Only the border and rim lists
  // fill nTriangle and nSide (list positions when the edge was recorded).
  enum EEdgeList {
    eBorderEdges = 0,           // every border loop, loop after loop, each in order
    eOuterBorderEdges = 1,      // the loops running counter-clockwise (outer borders)
    eHoleBorderEdges = 2,       // the loops running clockwise (rims of holes)
    eBorderBeforeCombination = 3,  // this triangulation's open sides before the merge
    eBorderAfterCombination = 4,   // the open sides after it
    eRemovalRimEdges = 5,       // sides that faced a removed triangle
    eFlippedEdges = 6,          // new diagonals of FlipEdge
    eNumEdgeLists = 7
  };
  // A zero-filled edge record (throws CMemoryException), and its release.
  static t_hdelaunayedge* InitNewEdge();
  static void DeleteEdge(t_hdelaunayedge* e);
  // Edge list `which` (an empty list for an index out of range).
  const CDelaunayEdgeList& GetEdgeList(int which) const;
  void ClearEdgeList(int which);
  // The fourth triangle list: the triangles cut out by the last
  // RemoveTrianglesInPolygon, linked among themselves only (their sides
  // towards kept triangles are open). Freed by the next removal, by
  // ClearOtherTriangleList and by the destructor.
  const CDelaunayTriangleList& GetOtherTriangleList() const { return m_OtherTriangleList; }
  void ClearOtherTriangleList();

  // The border as closed vertex loops, each in walking order with the
  // triangulation on its left (outer loops counter-clockwise, holes
  // clockwise); loops in the order their first border side appears in the
  // list. Where two loops touch at one vertex they stay separate loops. Fills
  // the three border edge lists and returns the number of loops (0 for an
  // empty triangulation). Every walk is bounded by the triangle count.
  int GetTriangulationBorder();
  int GetTriangulationBorder(std::vector<std::vector<int>>& loops);
  // Loop `loop` as a polygon of the vertices' x, y, z (emptied when there is
  // no such loop). Returns the number of loops.
  int GetTriangulationBorder(CSSE3dPolygon& polygon, int loop);

  // Merges other's points into this triangulation: each vertex of other's
  // container is appended (x, y, z kept, w = 0; the container grows as
  // needed) unless a vertex with the same x and y is here already, then
  // inserted by the ordinary insertion in other's index order, so the result
  // is what inserting the points one by one gives (a point other left
  // unconnected, within 0.005 of another, stays unconnected here too).
  // When this object has no triangles yet, other's triangles are copied
  // (marks included) instead. Records the open sides before and after in
  // the combination edge lists. Returns the number of vertices added.
  // Merging an object into itself, or an other without triangles, changes
  // nothing; finalizes on request.
  int InsertOtherTriangulation(const TaCIncrementalDelaunay2D& other, bool finalize);
  // This object becomes the combination of first and second: emptied, then
  // first's triangulation copied and second's points merged as above. When
  // first or second is this object, the other one is merged into it (both:
  // nothing happens).
  void CombineTriangulations(const TaCIncrementalDelaunay2D& first, const TaCIncrementalDelaunay2D& second,
                             bool finalize);

  // Drops every triangle whose centroid lies inside the polygon
  // (PointInLineInnerArea with step 1). The kept triangles' sides towards
  // dropped ones become open (and get the third mark when third marks are in
  // use), the search structures follow, the dropped triangles go to the
  // fourth list and the open sides to the rim list. Returns the number
  // dropped; a null polygon, fewer than three points, or a polygon that holds
  // no centroid changes nothing and returns 0.
  int RemoveTrianglesInPolygon(CSSE3dPolygon* polygon);

  // The triangle of the current list containing (x, y), by a walk from start
  // (the list's head when null; start must belong to the current list). A
  // point outside the triangulation gets the nearest triangle, found by
  // walking along the border from where the walk left it; that is the
  // nearest overall on a convex border, the nearest along the border loop
  // the walk reached otherwise. A walk that does not finish within the
  // triangle count falls back to a scan of the list. Null when empty.
  t_hdelaunaytriangle* NearestTriangle(float x, float y, t_hdelaunaytriangle* start);

  // Flips the diagonal that t and n share when the two form a convex
  // quadrilateral (both new triangles counter-clockwise beyond the 0.005
  // tolerance): the records are rewritten in place, neighbours, circles,
  // search structures, normal and centre slots and third marks follow.
  // Returns false and changes nothing when they are not each other's
  // neighbours (a hull side has none), when the quadrilateral is not convex,
  // when either carries the kill or locked mark, or when exactly one of them
  // carries the outside mark (the shared side is then the polygon's border).
  bool FlipEdge(t_hdelaunaytriangle* t, t_hdelaunaytriangle* n);

 private:
  void Construct();
  // Records of this triangulation's lists: taken from and given back to its pool.
  t_hdelaunaytriangle* NewTriangle();
  void ReleaseTriangle(t_hdelaunaytriangle* t);
  void ReleaseAll(CDelaunayTriangleList& list);
  void InsertVertex(int vertex);
  bool SplitAt(int vertex, t_hdelaunaytriangle* t);
  bool SplitNextToAffected(int vertex);
  EPointWhere CheckedPointWhere(int vertex, t_hdelaunaytriangle* t) const;
  EPointWhere CheckedSideSplit(int vertex, t_hdelaunaytriangle* t, EPointWhere onSide) const;
  int MakeChildren(int vertex, EPointWhere where, t_hdelaunaytriangle* t, t_hdelaunaytriangle* children[4]);
  void AppendToWorking(t_hdelaunaytriangle* t);
  void RemoveFromWorking(t_hdelaunaytriangle* t);
  void RegisterHullSides(t_hdelaunaytriangle* t);
  void ForgetHullSides(t_hdelaunaytriangle* t);
  void EnsureGrid();
  // Lays the grid out for the working list's size; when the grid holds the
  // working list already it keeps its filings, else it files the list.
  void RebuildGrid(bool gridHoldsWorkingList);
  // True for a triangle of the working list while the search structures are
  // kept (the reference scans keep none).
  bool InWorkingIndex(const t_hdelaunaytriangle* t) const {
    return !m_bReferenceScans && t->nWorkingEpoch == m_nWorkingEpoch;
  }
  // True for a triangle of the working list, whichever way the searches run.
  bool InWorkingList(const t_hdelaunaytriangle* t) const { return t->nWorkingEpoch == m_nWorkingEpoch; }
  void NextWorkingEpoch() {
    if (++m_nWorkingEpoch == 0) m_nWorkingEpoch = 1;  // 0 means "not in the working list"
  }
  const CDelaunayTriangleList& MarkedList() const { return m_bFinalized ? m_FinalTriangleList : m_TriangleList; }
  void CollectVisibleHullSides(int vertex, std::vector<std::pair<t_hdelaunaytriangle*, int>>& sides);
  void RefinePasses(const relief::detail::RefineRule& rule, int maxPasses);
  int RefinePass(const relief::detail::RefineRule& rule);
  template <bool kMax>
  void ScanConvert(CSSEMatrix* output, float emptyValue, SSEPoint& origin);
  void InsertNewVertices(int from);

  CDelaunayTriangleList m_TriangleList;
  CDelaunayTriangleList m_AffectedTriangleList;
  CDelaunayTriangleList m_FinalTriangleList;
  CDelaunayTriangleList m_OtherTriangleList;
  CDelaunayEdgeList m_EdgeLists[eNumEdgeLists];
  // Helpers of the border, combination and edge routines.
  CDelaunayTriangleList& CurrentList() { return m_bFinalized ? m_FinalTriangleList : m_TriangleList; }
  void RecordBorder(const CDelaunayTriangleList& list);
  void RecordOpenSides(int edgeList);
  void RecordLoops(const CDelaunayTriangleList& list, const std::vector<relief::detail::TriangleSide>& sides,
                   int firstList);
  void CopyTrianglesFrom(const CDelaunayTriangleList& list, const std::vector<int>& renumber);
  bool m_bFinalized;
  int m_nNumAffected;  // affected count of the insertion under way
  float m_fResolutionX, m_fResolutionY, m_fResolutionZ, m_fResolutionXY;
  SSEPoint* m_pBoundingBox;  // [0] minimum, [1] maximum
  SSEPoint* m_pTriangleCenters;
  SSEPoint* m_pNormalVectors;

  bool m_bReferenceScans;
  int m_nPlainScansBelow;
  uint64_t m_nNextSequence;
  uint64_t m_nFlipClock;  // flips made by all legalisations so far
  // Per affected-list position: the flip clock when a legalisation last began
  // checking that triangle. Kept between insertions so that none allocates.
  std::vector<uint64_t> m_LegalizeStamps;
  uint32_t m_nWorkingEpoch;  // advanced whenever the working list is emptied wholesale
  relief::detail::CCircleGrid* m_pGrid;
  relief::detail::CTrianglePool* m_pPool;
  std::vector<t_hdelaunaytriangle*> m_HullRegister;
  // Triangles SplitNextToAffected tries, kept between insertions so that the
  // exterior points (which try them all) do not allocate.
  std::vector<t_hdelaunaytriangle*> m_NearbyTriangles;
  std::vector<int> m_WholeFans;
};
