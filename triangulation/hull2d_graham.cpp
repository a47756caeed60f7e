// Graham's scan with the library's tolerant area test.

#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "relief/CHConvexHull2D.h"
#include "relief/CHSimpleBasisFcns.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/SafeMemory.h"
#include "triangulation/hull2d_area.h"

namespace {

constexpr float kTolerance = CHSimpleBasisFcns::kTolerance;

using relief::detail::HullArea;

// Compare's rare half, kept out of line so that the sort's loops can inline
// the common one. p and q are collinear with point 0: the nearer of the two
// can never be a hull corner.
[[gnu::noinline]] int CollinearOrder(const tPointStruc& p0, tPointStruc* p, tPointStruc* q, int& deleted) {
  ++deleted;
  const float dx = std::fabs(p->x - p0.x) - std::fabs(q->x - p0.x);
  const float dy = std::fabs(p->y - p0.y) - std::fabs(q->y - p0.y);
  if (dx < 0.0f || dy < 0.0f) {
    p->del = true;
    return -1;
  }
  if (dx > 0.0f || dy > 0.0f) {
    q->del = true;
    return 1;
  }
  if (p->vnum > q->vnum) {
    q->del = true;
  } else {
    p->del = true;
  }
  return 0;
}

}  // namespace

template <class Read>
void CHConvexHull2D::LoadPoints(int n, Read read, bool referenceScans) {
  if (n < 1) return;
  m_pPoints = static_cast<tPointStruc*>(SafeCalloc(static_cast<std::size_t>(n), sizeof(tPointStruc)));
  m_nNumPoints = n;
  for (int i = 0; i < n; ++i) {
    m_pPoints[i].vnum = i;
    read(i, m_pPoints[i]);
  }
  Run(referenceScans);
}

CHConvexHull2D::CHConvexHull2D(CSSE3dPolygon* polygon, bool referenceScans) {
  LoadPoints(
      polygon ? polygon->GetNumPoints() : 0, [&](int i, tPointStruc& p) { polygon->GetPoint(i, p.x, p.y, p.z); },
      referenceScans);
}

CHConvexHull2D::CHConvexHull2D(CSSE2dPolygon* polygon, bool referenceScans) {
  LoadPoints(
      polygon ? polygon->GetNumPoints() : 0, [&](int i, tPointStruc& p) { polygon->GetPoint(i, p.x, p.y); },
      referenceScans);
}

CHConvexHull2D::~CHConvexHull2D() {
  FreeStack();
  SafeFree(m_pPoints);
}

void CHConvexHull2D::Run(bool referenceScans) {
  FindLowest();
  if (referenceScans) {
    QuickSort(1, m_nNumPoints - 1);
  } else {
    SortAboutPointZero();
  }
  FlagHiddenRayPoints();
  if (m_nNumDeleted > 0) Squash();
  Graham();
}

void CHConvexHull2D::FlagHiddenRayPoints() {
  // Compare flags the nearer of two points on one ray from point 0, but a
  // sort need not compare every such pair: with repeated points an equal
  // pivot can send two points of one ray to different sides, and the one
  // that is never compared with a farther point stays. After the sort the
  // points of a ray lie in one run of points collinear with the run's first
  // within the tolerance. The tolerance chains, though: a run that starts
  // near point 0 can take in points of neighbouring directions, and their
  // order in it is the sort's. So each run keeps its farthest point (of
  // coincident farthest points the one with the largest vnum, as Compare
  // would keep it) and flags only the points collinear with that one.
  const tPointStruc& p0 = m_pPoints[0];
  auto flag = [&](tPointStruc& p) {
    if (!p.del) {
      p.del = true;
      ++m_nNumDeleted;
    }
  };
  int s = 1;
  // Copies of point 0 lie on every ray: they go first.
  while (s < m_nNumPoints && m_pPoints[s].x == p0.x && m_pPoints[s].y == p0.y) flag(m_pPoints[s++]);
  while (s < m_nNumPoints) {
    int e = s;
    while (e + 1 < m_nNumPoints) {
      const float area = HullArea(p0, m_pPoints[s], m_pPoints[e + 1]);
      if (area > kTolerance || area < -kTolerance) break;
      ++e;
    }
    const auto distance = [&](const tPointStruc& p) {
      const double dx = static_cast<double>(p.x) - p0.x, dy = static_cast<double>(p.y) - p0.y;
      return dx * dx + dy * dy;
    };
    int keep = s;
    for (int k = s + 1; k <= e; ++k) {
      const double dk = distance(m_pPoints[k]), dkeep = distance(m_pPoints[keep]);
      if (dk > dkeep || (dk == dkeep && m_pPoints[k].vnum > m_pPoints[keep].vnum)) keep = k;
    }
    for (int k = s; k <= e; ++k) {
      const float area = HullArea(p0, m_pPoints[k], m_pPoints[keep]);
      if (k != keep && area <= kTolerance && area >= -kTolerance) flag(m_pPoints[k]);
    }
    s = e + 1;
  }
}

void CHConvexHull2D::FindLowest() {
  int m = 0;
  for (int i = 1; i < m_nNumPoints; ++i) {
    const tPointStruc& p = m_pPoints[i];
    const tPointStruc& best = m_pPoints[m];
    // Ties on y go to the smaller x (the textbook scan takes the larger).
    if (p.y < best.y || (p.y == best.y && p.x < best.x)) m = i;
  }
  std::printf("Swapping %d with 0\n", m);
  Swap(0, m);
}

int CHConvexHull2D::Compare(tPointStruc* p, tPointStruc* q) {
  const tPointStruc& p0 = m_pPoints[0];
  const float area = HullArea(p0, *p, *q);
  if (area > kTolerance) return -1;
  if (area < -kTolerance) return 1;
  return CollinearOrder(p0, p, q, m_nNumDeleted);
}

void CHConvexHull2D::QuickSort(int first, int last) {
  // The pivot stays at `first` while the rest is partitioned, so Compare
  // always flags the records that really sit in the array. Equal keys stop
  // both scans, which keeps runs of collinear points balanced; recursing
  // into the smaller side bounds the depth by log n.
  while (first < last) {
    Swap(first, first + (last - first) / 2);
    tPointStruc* pivot = &m_pPoints[first];
    int i = first + 1;
    int j = last;
    for (;;) {
      while (i <= j && Compare(&m_pPoints[i], pivot) < 0) ++i;
      while (i <= j && Compare(&m_pPoints[j], pivot) > 0) --j;
      if (i >= j) break;
      Swap(i, j);
      ++i;
      --j;
    }
    // Now first+1 .. j are not after the pivot, j+1 .. last not before it.
    Swap(first, j);
    if (j - first < last - j) {
      QuickSort(first, j - 1);
      first = j + 1;
    } else {
      QuickSort(j + 1, last);
      last = j - 1;
    }
  }
}

void CHConvexHull2D::Squash() {
  int kept = 0;
  for (int i = 0; i < m_nNumPoints; ++i) {
    if (!m_pPoints[i].del) {
      Copy(i, kept);
      ++kept;
    }
  }
  m_nNumPoints = kept;
  std::printf("After Squash: n=%d\n", m_nNumPoints);
}

void CHConvexHull2D::Graham() {
  if (m_nNumPoints < 1) return;
  // The scan runs on point numbers; the stack cells are made for the points
  // that stay, bottom first, which gives the list the pushes and pops of the
  // scan would leave (most points are pushed only to be popped again).
  std::vector<int> stack{0};
  stack.reserve(64);
  bool underflow = false;
  if (m_nNumPoints >= 2) stack.push_back(1);
  for (int i = 2; i < m_nNumPoints;) {
    if (stack.size() < 2) {
      underflow = true;
      break;
    }
    const tPointStruc& below = m_pPoints[stack[stack.size() - 2]];
    const tPointStruc& top = m_pPoints[stack.back()];
    if (HullArea(below, top, m_pPoints[i]) > kTolerance) {
      stack.push_back(i++);
    } else {
      stack.pop_back();
    }
  }
  if (underflow) {
    std::printf("Error\n");
    return;
  }
  for (const int i : stack) Push(&m_pPoints[i]);
}

void CHConvexHull2D::Push(tPointStruc* p) {
  auto* cell = static_cast<tStackCell*>(SafeMalloc(sizeof(tStackCell)));
  cell->p = p;
  cell->next = m_pTop;
  m_pTop = cell;
}

void CHConvexHull2D::Pop() {
  if (!m_pTop) return;
  tStackCell* below = m_pTop->next;
  SafeFree(m_pTop);
  m_pTop = below;
}

void CHConvexHull2D::FreeStack() {
  while (m_pTop) Pop();
}

void CHConvexHull2D::Copy(int from, int to) { m_pPoints[to] = m_pPoints[from]; }

void CHConvexHull2D::Swap(int i, int j) {
  if (i != j) std::swap(m_pPoints[i], m_pPoints[j]);
}

int CHConvexHull2D::GetHullSize() const {
  int n = 0;
  for (const tStackCell* c = m_pTop; c; c = c->next) ++n;
  return n;
}

void CHConvexHull2D::ObtainConvexHull3D(CSSE3dPolygon* out) const {
  if (!out) return;
  const int n = GetHullSize();
  out->Create(n);
  // The stack holds the hull from its last point down to point 0.
  int k = n - 1;
  for (const tStackCell* c = m_pTop; c; c = c->next, --k) out->SetPoint(k, c->p->x, c->p->y, c->p->z);
}

void CHConvexHull2D::ObtainConvexHull2D(CSSE2dPolygon* out) const {
  if (!out) return;
  const int n = GetHullSize();
  out->Create(n);
  int k = n - 1;
  for (const tStackCell* c = m_pTop; c; c = c->next, --k) out->SetPoint(k, c->p->x, c->p->y);
}
