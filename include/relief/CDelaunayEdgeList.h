#pragma once

#include <cstdint>
#include <vector>

#include "relief/Export.h"

// One directed edge of a Delaunay triangulation, as the border and
// combination routines of TaCIncrementalDelaunay2D report it: five 32-bit
// words. The edge runs from nVertex[0] to nVertex[1] with the triangulated
// side on its left, so an outer border loop runs counter-clockwise and a
// hole's rim clockwise. Zero-filled when made (InitNewEdge).
struct t_hdelaunayedge {
  int32_t nVertex[2];  // from, to: indices into the triangulation's vertex array
  int32_t nTriangle;   // position of the owning triangle in the list it was read from, -1 when none
  int32_t nSide;       // side of that triangle (0, 1, 2) the edge lies on, -1 when none
  int32_t nLoop;       // number of the closed loop the edge belongs to, -1 when it is in none
};
static_assert(sizeof(t_hdelaunayedge) == 20, "an edge record is five 32-bit words");

// An ordered list of edge records that owns them: appends go to the tail,
// DeleteAll and the destructor free every record (DeleteEdge).
class RELIEF_API CDelaunayEdgeList {
 public:
  CDelaunayEdgeList() = default;
  CDelaunayEdgeList(const CDelaunayEdgeList&) = delete;
  CDelaunayEdgeList& operator=(const CDelaunayEdgeList&) = delete;
  ~CDelaunayEdgeList() { DeleteAll(); }

  int GetCount() const { return static_cast<int>(m_Edges.size()); }
  bool IsEmpty() const { return m_Edges.empty(); }
  // Edge i for 0 <= i < GetCount(), otherwise null.
  t_hdelaunayedge* GetAt(int i) const {
    return i < 0 || i >= GetCount() ? nullptr : m_Edges[static_cast<std::size_t>(i)];
  }
  std::vector<t_hdelaunayedge*>::const_iterator begin() const { return m_Edges.begin(); }
  std::vector<t_hdelaunayedge*>::const_iterator end() const { return m_Edges.end(); }

  // Takes ownership of e.
  void AddTail(t_hdelaunayedge* e) { m_Edges.push_back(e); }
  // Frees every edge and empties the list.
  void DeleteAll();

 private:
  std::vector<t_hdelaunayedge*> m_Edges;
};
