#pragma once

#include <cstdint>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

struct tEdgeStructure;
struct tFaceStructure;

// One hull vertex on integer coordinates, so that every predicate below is
// exact: tenths of an input unit for AppendVertex2D, input units for
// AppendVertex3D.
struct tVertexStructure {
  std::int64_t x, y, z;
  std::int32_t index;           // caller's index, or the running counter
  tEdgeStructure* duplicate;    // cone edge already made from this vertex during one addition
  tVertexStructure* next;       // circular list
  tVertexStructure* prev;
  bool onhull;                  // an edge of the finished hull ends here
  bool processed;               // already offered to the hull
  bool flag;                    // the caller's flag, carried along untouched
  bool pooled;                  // internal: the record lives in the hull's vertex blocks
};

// One hull edge: the two faces on either side and its two end vertices.
struct tEdgeStructure {
  tFaceStructure* adjface[2];
  tVertexStructure* endpts[2];
  tFaceStructure* newface;      // cone face built on this edge during one addition
  bool del;                     // both neighbours became visible: the edge goes
  bool pooled;                  // internal: the record lives in one of the hull's blocks
  tEdgeStructure* next;         // circular list
  tEdgeStructure* prev;
  std::uint32_t stamp;          // internal: last addition that looked at this edge
};

// One triangular hull face. Seen from outside the hull, vertex[0..2] run
// counter-clockwise, and edge[i] joins vertex[i] and vertex[(i + 1) % 3]
// once EdgeOrderOnFaces has run.
struct tFaceStructure {
  tEdgeStructure* edge[3];
  tVertexStructure* vertex[3];
  bool visible;                 // seen from the vertex being added
  bool lower;                   // kept by CH2DDelaunay::LowerFaces
  bool pooled;                  // internal: the record lives in one of the hull's blocks
  tFaceStructure* next;         // circular list
  tFaceStructure* prev;
  std::int32_t conflictHead;    // internal: first pending vertex that sees this face, or -1
  std::uint32_t stamp;          // internal: last addition that tested this face
};

namespace relief::detail {
struct HullVertexIndex;
struct HullConflicts;
}  // namespace relief::detail

// Incremental 3D convex hull on exact integer coordinates.
//
// Points are appended first (AppendVertex2D lifts them onto z = x^2 + y^2,
// AppendVertex3D keeps their z), then CalcConvexHull builds the hull and
// leaves GetNumFaces / GetFaces current. Coordinates are stored as 64-bit
// integers: AppendVertex2D quantises to tenths, trunc(value x 10 + 0.5), so
// lifted points closer than 0.05 in x and y collapse into the first one;
// AppendVertex3D stores the given coordinates, floor(value + 0.5) (integers
// exactly). A point whose three integers equal those of a stored point is
// ignored.
//
// ACCEPTED RANGE: AppendVertex2D takes |x|, |y| <= 1e8 and AppendVertex3D
// |x|, |y|, |z| <= 2^40 (1,099,511,627,776); both bounds inclusive. A point
// with a coordinate outside its range, NaN or infinite is ignored (not
// stored, the counter does not grow). Within the range every orientation
// test is exact (its products are formed in 128-bit integers).
//
// DEGENERATE INPUT: the algorithm needs four points that are not coplanar.
// On input whose points are all collinear CalcConvexHull never returns, and
// on input whose points are all coplanar it ends the process (exit status 0).
// Callers MUST ask IsDegenerate() first and skip CalcConvexHull when it says
// true. Fewer than four distinct points count as degenerate.
//
// Records are allocated in blocks with SafeCalloc: vertices in the order
// they are stored (deleted ones stay in their block until the object is
// destroyed), edges and faces as the hull grows (deleted ones are reused),
// and on the fast route the built hull's edges and faces are moved into two
// blocks in list order; exhaustion throws CMemoryException. Copying is not
// supported (the lists have one owner). VolumeSign and Collinear are the
// only virtual members (in this order): the destructor is not virtual, so
// destroy a CH2DDelaunay through its own type.
class RELIEF_API CHConvexHull3D {
 public:
  CHConvexHull3D();
  ~CHConvexHull3D();
  CHConvexHull3D(const CHConvexHull3D&) = delete;
  CHConvexHull3D& operator=(const CHConvexHull3D&) = delete;

  // Stores (X, Y, X^2 + Y^2) with X = trunc(x * 10 + 0.5), Y likewise.
  // index -1 takes the running counter; the counter grows with every stored
  // vertex. flag is kept in the vertex record for the caller. Ignores the
  // point unless |x|, |y| <= 1e8 (NaN and infinities included).
  void AppendVertex2D(float x, float y, int index, bool flag);
  // Stores x, y and z as given (floor(v + 0.5)); w is not used. The index is
  // the running counter. Ignores the point unless |x|, |y|, |z| <= 2^40.
  void AppendVertex3D(float x, float y, float z, float w);

  // True when the stored vertices cannot form a solid: fewer than four, all
  // on one line or all in one plane (decided exactly on the stored integers).
  bool IsDegenerate() const;

  // Builds the hull of all stored vertices (DoubleTriangle, ConstructHull,
  // EdgeOrderOnFaces), then recounts faces, edges and vertices.
  // Precondition: !IsDegenerate(). Without vertices, or once a hull exists,
  // it returns at once.
  void CalcConvexHull();

  int GetNumFaces() const { return m_nNumFaces; }
  int GetNumEdges() const { return m_nNumEdges; }
  int GetNumVertices() const { return m_nNumVertices; }
  tFaceStructure* GetFaces() const { return m_pFaces; }
  tVertexStructure* GetVertices() const { return m_pVertices; }
  tEdgeStructure* GetEdges() const { return m_pEdges; }

  // Corner `corner` (0..2) of a face as floats divided by `divisor`:
  // (x, y, 0, 0) and (x, y, z, 0). A null face or a corner outside 0..2
  // gives the zero point. The default 10 returns lifted points to input
  // units; points from AppendVertex3D need a divisor of 1.
  SSEPoint GetVertexFromFace(const tFaceStructure* face, int corner, float divisor = 10.0f) const;
  SSEPoint GetVertexFromFace3D(const tFaceStructure* face, int corner, float divisor = 10.0f) const;

  // Sign of the volume of the tetrahedron (face, p): -1 when p sees the
  // face from outside, 0 when p lies in its plane, 1 otherwise.
  virtual int VolumeSign(const tFaceStructure* f, const tVertexStructure* p) const;
  // True when (b - a) x (c - a) is zero in all three components.
  virtual bool Collinear(const tVertexStructure* a, const tVertexStructure* b,
                         const tVertexStructure* c) const;

  // Self-checks of the finished hull; each prints what it finds wrong to
  // stdout and returns false on the first fault.
  bool Consistency() const;   // every edge's faces hold it in opposite directions
  bool Convexity() const;     // no vertex lies outside any face (quadratic)
  void CheckEuler() const {}  // kept empty: the counts are checked by Checks
  bool Checks();              // Consistency, Convexity, Euler's V - E + F = 2
  bool CheckEndpts() const;   // every face's edges end at that face's vertices
  // Reorders each face's edges so that edge[i] joins vertex[i] and vertex[i + 1].
  void EdgeOrderOnFaces();

  int CalcNumFaces();
  int CalcNumEdges();
  int CalcNumVertices();

  void SetDebug(bool debug) { m_bDebug = debug; }

  // true: every visibility test goes through the virtual VolumeSign on the
  // vertex records (the plain route, the reference the tests compare
  // against); false (default): faces keep their planes in doubles and a
  // test falls back to the exact volume only when rounding could decide it.
  // The hull is identical either way: the same faces in the same order, the
  // same vertex records. A class that overrides VolumeSign always takes the
  // plain route, as do inputs spanning more than 2^50 in some coordinate.
  // Read by the next CalcConvexHull (or CalcDelaunayTriangulation).
  void SetReferenceScans(bool plain) { m_bReferenceScans = plain; }
  bool GetReferenceScans() const { return m_bReferenceScans; }

 protected:
  tVertexStructure* NewVertex();
  tEdgeStructure* NewEdge();
  tFaceStructure* NewFace();
  void AddVertex(tVertexStructure* v);
  void AddEdge(tEdgeStructure* e);
  void AddFace(tFaceStructure* f);
  void DeleteVertex(tVertexStructure* v);
  void DeleteEdge(tEdgeStructure* e);
  void DeleteFace(tFaceStructure* f);

  void DoubleTriangle();
  void ConstructHull();
  bool AddOne(tVertexStructure* p);
  tFaceStructure* MakeFace(tVertexStructure* v0, tVertexStructure* v1, tVertexStructure* v2,
                           tFaceStructure* fold);
  tFaceStructure* MakeConeFace(tEdgeStructure* e, tVertexStructure* p);
  void MakeCcw(tFaceStructure* f, tEdgeStructure* e, tVertexStructure* p);
  void CleanUp();

  // Stores one quantised vertex unless an equal one is already stored.
  void StoreVertex(std::int64_t x, std::int64_t y, std::int64_t z, int index, bool flag);
  void FreeAll();

  tVertexStructure* m_pVertices = nullptr;
  tEdgeStructure* m_pEdges = nullptr;
  tFaceStructure* m_pFaces = nullptr;
  int m_nNumFaces = 0;
  int m_nNumEdges = 0;
  int m_nNumVertices = 0;
  int m_nVertexCounter = 0;
  bool m_bDebug = false;

 private:
  // The construction with the visibility test and the waiting lists as a
  // parameter (plain: the virtual VolumeSign; fast: cached planes), one
  // body for both routes.
  template <class Route>
  void ConstructHullWith(Route& route);
  template <class Route>
  bool AddOneWith(tVertexStructure* p, Route& route);
  bool UseFastRoute() const;
  // Moves the finished hull's face and edge records into two blocks in list
  // order (same contents, same order), so that later walks over the lists
  // read memory in sequence.
  void CompactRecords();

  relief::detail::HullVertexIndex* m_pIndex = nullptr;  // finds quantised duplicates in O(1)
  relief::detail::HullConflicts* m_pConflicts = nullptr;  // pending vertices per face while building
  std::uint32_t m_nStamp = 0;
  bool m_bReferenceScans = false;
  tEdgeStructure* m_pSpareEdges = nullptr;  // deleted records kept for reuse
  tFaceStructure* m_pSpareFaces = nullptr;
};
