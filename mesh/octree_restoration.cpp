// The restoration queries: lowest entry, radii about the centre axis and
// the approximate restoration angle derived from them.

#include <cmath>

#include "relief/CHTriangulation.h"
#include "relief/CRestorationOctree.h"

namespace {

// Calls visit(corner) for every corner of every triangle filed in `list`
// anywhere in the tree, level by level.
template <typename Visit>
void ForEachFiledCorner(const CHOctree& tree, CHTriangulation* mesh, int list, Visit visit) {
  if (!mesh || list < 0 || list >= 4) return;
  for (int k = 0; k < tree.NumLevels; ++k) {
    for (std::int32_t j = 0; j < tree.LevelCount[k]; ++j) {
      for (const t_hoctreeentryblock* b = tree.Level[k][j].pEntries[list]; b; b = b->pNext) {
        for (int e = 0; e < b->Count; ++e) {
          if (const t_htriangle* t = mesh->GetTriangle(b->Entry[e])) {
            for (const SSEPoint* p : t->pPoint) visit(*p);
          }
        }
      }
    }
  }
}

float RadiusAbout(const SSEPoint& p, const SSEPoint& axis) {
  const double dx = static_cast<double>(p.x) - axis.x;
  const double dy = static_cast<double>(p.y) - axis.y;
  return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

// The filed corner whose radius about the root's vertical axis is best
// (first found wins ties): its radius goes to `radius`, its z to `z`. Both
// keep their values when no corner is filed in the list.
template <class Better>
void ExtremeRadius(const CHOctree& tree, CHTriangulation* mesh, int list, Better better, float& radius, float& z) {
  const SSEPoint axis = tree.pRoot->Center;
  bool found = false;
  float best = 0.0f, bestZ = 0.0f;
  ForEachFiledCorner(tree, mesh, list, [&](const SSEPoint& p) {
    const float r = RadiusAbout(p, axis);
    if (!found || better(r, best)) {
      best = r;
      bestZ = p.z;
      found = true;
    }
  });
  if (found) {
    radius = best;
    z = bestZ;
  }
}

}  // namespace

CRestorationOctree::CRestorationOctree(SSEPoint& maxPoint, SSEPoint& minPoint, float minBrickSize)
    : CHOctree(maxPoint, minPoint, minBrickSize) {}

void CRestorationOctree::FindLowestZEntry(CHTriangulation* mesh, int /*list*/) {
  if (!pRoot) return;
  SSEPoint lo, hi;
  lo.m = _mm_set1_ps(1000000.0f);
  hi.m = _mm_set1_ps(-1000000.0f);
  for (t_hoctreeelement* child : pRoot->pChild) {
    for (int l = 0; l < 4; ++l) FindMinMaxPointTriangulation(mesh, lo, hi, child, l);
  }
  ResultB = lo.z;
  const double dx = static_cast<double>(hi.x) - lo.x;
  const double dy = static_cast<double>(hi.y) - lo.y;
  ResultD = static_cast<float>(0.5 * std::sqrt(dx * dx + dy * dy));
}

void CRestorationOctree::FindMinRadiusTopTriangulation(CHTriangulation* mesh, int list) {
  if (pRoot) ExtremeRadius(*this, mesh, list, [](float r, float best) { return r < best; }, ResultC, ResultA);
}

void CRestorationOctree::FindMaxRadiusBottomTriangulation(CHTriangulation* mesh, int list) {
  if (pRoot) ExtremeRadius(*this, mesh, list, [](float r, float best) { return r > best; }, ResultD, ResultB);
}

float CRestorationOctree::CalcApproximateMaxRestorationAngle(CHTriangulation* mesh, int list) {
  FindMinRadiusTopTriangulation(mesh, list);
  FindMaxRadiusBottomTriangulation(mesh, list);
  const float q = (ResultC - ResultD) / (ResultA - ResultB);
  // The constant goes on the quotient, not the divisor.
  return std::atan(q + 0.0001f) + 0.0875f;
}
