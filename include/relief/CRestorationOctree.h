#pragma once

#include "relief/CHOctree.h"
#include "relief/Export.h"

// The octree with the queries used when a restoration is fitted over a
// preparation: a bottom mesh (the preparation) and a top mesh (the
// restoration's inner surface), each filed in its own list.
//
// Radii are measured in x/y from the tree's centre axis, the vertical line
// through the root's centre. Results:
//   ResultA  z of the top mesh's corner nearest the axis   (FindMinRadiusTopTriangulation)
//   ResultB  z of the bottom mesh's corner farthest out    (FindMaxRadiusBottomTriangulation),
//            or the lowest z found by FindLowestZEntry
//   ResultC  the smallest radius of the top mesh           (FindMinRadiusTopTriangulation)
//   ResultD  the largest radius of the bottom mesh         (FindMaxRadiusBottomTriangulation),
//            or FindLowestZEntry's footprint radius
// A query that finds no corner leaves its results as they were.
class RELIEF_API CRestorationOctree : public CHOctree {
 public:
  CRestorationOctree(SSEPoint& maxPoint, SSEPoint& minPoint, float minBrickSize);

  // Widens a box from (1e6, ..) / (-1e6, ..) over the triangles filed in
  // the four lists of the root's eight children (entries looked up in mesh;
  // `list` is not used to choose among them), then ResultB := the box's
  // lowest z and ResultD := half its x/y diagonal. Nothing without a root.
  void FindLowestZEntry(CHTriangulation* mesh, int list);
  // Over every corner of every triangle filed anywhere in `list`: the
  // smallest radius into ResultC and that corner's z into ResultA. Bricks
  // are visited level by level in array order; of corners at the same
  // radius the first one met wins.
  void FindMinRadiusTopTriangulation(CHTriangulation* mesh, int list);
  // The largest radius into ResultD and that corner's z into ResultB.
  void FindMaxRadiusBottomTriangulation(CHTriangulation* mesh, int list);
  // Runs both radius queries on the same mesh and list, then returns
  // atan(q + 0.0001) + 0.0875 radians with q = (ResultC - ResultD) /
  // (ResultA - ResultB) in float: the slope of the cone from the bottom's
  // outermost corner to the top's innermost one, plus a fixed margin of
  // 0.0875 rad. Equal heights give +/- pi/2 + 0.0875 (or NaN for 0/0).
  float CalcApproximateMaxRestorationAngle(CHTriangulation* mesh, int list);

  float ResultA = 0.0f;
  float ResultB = 0.0f;
  float ResultC = 0.0f;
  float ResultD = 0.0f;
};
