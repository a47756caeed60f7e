#pragma once

#include <cstdint>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CHTriangulation;
struct t_htriangle;

// One link of a brick's entry list. Room for ten entries, but a block is
// considered full at nine (see AppendEntryToOctreeElement).
struct t_hoctreeentryblock {
  std::int32_t Entry[10];
  std::int32_t Count;  // entries used in this block
  t_hoctreeentryblock* pNext;
};

// One brick (cube) of the octree.
struct t_hoctreeelement {
  SSEPoint Center;
  SSEPoint MaxCorner;  // Center + HalfSize in x, y, z
  SSEPoint MinCorner;  // Center - HalfSize in x, y, z
  float HalfSize;      // half the brick's edge length
  t_hoctreeelement* pParent;               // null for the root
  t_hoctreeelement* pChild[8];             // null on the deepest level
  t_hoctreeentryblock* pEntries[4];        // heads of the entry lists 0..3
  std::int32_t Level;                      // 0 for the root
};

// A complete octree over an axis-aligned box, every level allocated at
// construction. It stores no geometry: a mesh is filed by inserting each
// triangle's Index into the deepest brick that wholly contains the
// triangle's box, in one of four independent lists (one per mesh, say).
//
// Levels: NumLevels = trunc(ln(Extent / minBrickSize) / ln 2 + 0.5), where
// Extent is the box's largest side (quotient in float, logarithms in
// double). Level k holds 8^k bricks of edge Extent x 0.5^k (HalfSize =
// Extent x 0.5^(k+1)). Memory grows eightfold per level, so the tree is
// limited to 8 levels (2,396,745 bricks, about 420 MB): a request for more
// throws CMemoryException before anything is allocated. A box smaller than
// about 1.42 x minBrickSize gives no level at all and no root; every query
// then does nothing.
//
// Children: pChild[i] lies on the + side of the parent's centre in x when
// bit 0 of i is set, in y for bit 1, in z for bit 2 (child 0 is the
// (-x, -y, -z) octant). A triangle whose box lies on a face between two
// children goes to the child with the lower number.
//
// Construction always sends the message "OctreeCreated" to ShowMessageBox.
// operator= copies the members as they are (both objects then share the
// bricks and entry blocks; only one of them may be destroyed).
// Allocation failures throw CMemoryException.
class RELIEF_API CHOctree {
 public:
  CHOctree(SSEPoint& maxPoint, SSEPoint& minPoint, float minBrickSize);
  // Builds nothing: no levels, no root, no message (the scalar members keep
  // their zero defaults, the level tables are not touched). Kept for
  // callers that fill an octree member by member.
  CHOctree(CHOctree* other, bool flag);
  // Frees every entry block and the bricks of every level; NumLevels := 0.
  ~CHOctree();
  CHOctree& operator=(const CHOctree& other) = default;
  // Not copyable by construction: two owners of one set of bricks would
  // free them twice. (Assignment stays the shallow member copy callers use.)
  CHOctree(const CHOctree&) = delete;

  // Kept for interface compatibility; both return at once.
  void DuplicateOctree(CHOctree* other);
  void ReduceToConvenientSize(CHOctree* other);

  int GetNumBricks() const { return NumBricks; }
  t_hoctreeelement* GetStem() const { return pRoot; }

  // Zero-fills one brick record (its entry blocks are not freed).
  void ClearEntry(t_hoctreeelement& element);
  // Places element at center and, recursively, its subtree: corners at
  // center -/+ HalfSize, child i displaced by +/- HalfSize / 2 per axis (see
  // the class comment). Null does nothing.
  void PositionReferenceOctree(t_hoctreeelement* element, SSEPoint* center);

  // Files every triangle of mesh, in index order, into list `list`. The
  // triangles' minima and maxima must be current (CalcSTV).
  void CalculateOctreeEntries(CHTriangulation* mesh, int list);
  // True when t's box lies inside element's (inclusive, x, y, z): the
  // triangle then goes to the first child (0..7) that takes it, or to
  // element itself. False for a null argument, a list outside 0..3 or a box
  // that does not fit.
  bool InsertTriangleIntoOctree(t_htriangle* t, t_hoctreeelement* element, int list);
  // Appends t's Index to element's list and re-tags t's Type by the
  // element's level: 0->1, 1->4, 2->2, 3->3, 4->5, 5->6, 6->7, 7->8, 8->9,
  // 9->10, 10->11, 11->-1, deeper->1. Levels 1 and 2 are swapped against
  // the ascending tags on purpose: existing callers read them so.
  void InsertTriangleIntoOctreeElement(t_htriangle* t, t_hoctreeelement* element, int list);

  // Appends entry to the list. A block counts as full at nine entries, so
  // the tenth entry opens a second block.
  void AppendEntryToOctreeElement(t_hoctreeelement* element, int list, int entry);
  // Entry i of the list, or -1. Only the first block is ever read: entries
  // 0..8 are retrievable, 9 and above give -1.
  std::int32_t GetEntryFromOctreeElement(t_hoctreeelement* element, int list, int i);
  // Frees every block of all four lists and empties them (the heads are
  // reset, so the lists can be filled again and the destructor does not
  // free the blocks twice).
  void RemoveAllEntriesFromOctreeElement(t_hoctreeelement* element);

  // Widens min and max lane by lane (all four lanes) by the corners of the
  // triangles listed under element in `list`; an entry is a triangle Index
  // looked up as mesh->GetTriangle(entry), entries outside the mesh are skipped.
  void FindMinMaxPointTriangulation(CHTriangulation* mesh, SSEPoint& min, SSEPoint& max,
                                    t_hoctreeelement* element, int list);

  // ---- data (declared order is part of the model) ------------------------
  t_hoctreeelement* pRoot = nullptr;
  t_hoctreeelement* Level[100];
  std::int32_t LevelCount[100];
  float Extent = 0.0f;
  std::int32_t NumLevels = 0;
  float MinX = 0.0f, MaxX = 0.0f, MinY = 0.0f, MaxY = 0.0f, MinZ = 0.0f, MaxZ = 0.0f;
  float MinBrickSize = 0.0f;
  std::int32_t NumBricks = 0;

  // The most levels a tree may have.
  static constexpr int kMaxLevels = 8;

 private:
  // The last block of every list of every brick (NumBricks x 4), so that
  // appending does not walk the whole list: a brick of a coarse tree can
  // collect tens of thousands of entries. Bricks that are not part of this
  // tree are appended to by walking their list.
  t_hoctreeentryblock** TailSlot(const t_hoctreeelement* element, int list);
  t_hoctreeentryblock** m_pTails = nullptr;
};
