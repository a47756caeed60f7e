// Lawson flips over the affected triangles.
#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_predicates.h"

namespace {

// The records a legalisation has changed, in the order they were first
// changed, and a picture of them taken at the start of a pass, against which
// the following passes are compared (Brent's cycle finding: the picture is
// renewed whenever the distance since it reaches a window that doubles each
// time, so a cycle is found whatever its period and however long the run
// before it, and the first match gives the period itself).
class CFlipHistory {
  // A picture copies the corners, the circle (centre and squared radius)
  // and the neighbour links as three blocks of bytes.
  static_assert(sizeof(t_hdelaunaytriangle::nVertex) == 12, "corners: one 12-byte block");
  static_assert(offsetof(t_hdelaunaytriangle, fCenterY) == offsetof(t_hdelaunaytriangle, fCenterX) + 4 &&
                    offsetof(t_hdelaunaytriangle, fRadiusSqr) == offsetof(t_hdelaunaytriangle, fCenterX) + 8,
                "circle: one 12-byte block from fCenterX");
  static_assert(sizeof(t_hdelaunaytriangle::pNeighbour) == 24, "neighbours: one 24-byte block");

 public:
  void Touch(t_hdelaunaytriangle* t) {
    if (!t) return;
    for (t_hdelaunaytriangle* k : m_Touched)
      if (k == t) return;
    m_Touched.push_back(t);
  }

  // Pictures the changed records and the length of the list being
  // legalised; returns how many passes ago the kept picture was taken when
  // this one equals it, else 0. The list only grows (a flipped working
  // neighbour joins it), and a longer list runs differently even where the
  // records repeat.
  int RecordAndFindPeriod(int pass, int listLength) {
    m_Picture.clear();
    m_Picture.push_back(static_cast<uint32_t>(listLength));
    for (const t_hdelaunaytriangle* t : m_Touched) {
      uint32_t words[14];
      std::memcpy(words, t->nVertex, 12);
      std::memcpy(words + 3, &t->fCenterX, 12);
      std::memcpy(words + 6, t->pNeighbour, 24);
      const uintptr_t self = reinterpret_cast<uintptr_t>(t);
      words[12] = static_cast<uint32_t>(self);
      words[13] = static_cast<uint32_t>(self >> 32);
      m_Picture.insert(m_Picture.end(), words, words + 14);
    }
    if (m_nKeptAt >= 0 && m_Picture == m_Kept) return pass - m_nKeptAt;
    if (m_nKeptAt < 0 || pass - m_nKeptAt >= m_nWindow) {
      if (m_nKeptAt >= 0) m_nWindow *= 2;
      m_Kept.swap(m_Picture);
      m_nKeptAt = pass;
    }
    return 0;
  }

 private:
  std::vector<t_hdelaunaytriangle*> m_Touched;
  std::vector<uint32_t> m_Picture, m_Kept;
  int m_nKeptAt = -1;
  int m_nWindow = 4;
};

// Passes after which a legalisation that still flips is watched for cycles.
constexpr int kWatchFromPass = 4;

// The first pass reads the corner opposite each shared side, one vertex
// per neighbour, spread over the whole vertex array. The neighbours
// themselves were requested when the affected triangles were found; asking
// for all their corners up front lets the misses overlap instead of being
// met one at a time.
void PrefetchOppositeCorners(const CDelaunayTriangleList& affected, const SSEPoint* vertices) {
  for (const t_hdelaunaytriangle* t : affected)
    for (const t_hdelaunaytriangle* n : t->pNeighbour)
      if (n)
        for (int v : n->nVertex) _mm_prefetch(reinterpret_cast<const char*>(vertices + v), _MM_HINT_T0);
}

// Decides a lane the double filter left open; out of line, it is rarely met.
__attribute__((noinline)) bool TurnsLeftUndecided(const SSEPoint& p, const SSEPoint& q, const SSEPoint& r) {
  return relief::detail::TurnsLeftExactSlow(p.x, p.y, q.x, q.y, r.x, r.y);
}

// The flip of side a-b between (a, b, c) and the triangle beyond with corner
// d gives (d, c, a) and (b, c, d): both must turn strictly left. The two
// turns are evaluated side by side in the lanes of one register with the
// very operations of TurnsLeftExact (differences of the widened floats,
// products, their difference, the same error bound), so each lane decides
// exactly as it would; only lanes within the bound take the exact route.
inline bool ConvexAcross(const SSEPoint* v, int a, int b, int c, int d) {
  const __m128d pa = _mm_cvtps_pd(v[a].m), pb = _mm_cvtps_pd(v[b].m);
  const __m128d pc = _mm_cvtps_pd(v[c].m), pd = _mm_cvtps_pd(v[d].m);
  // Turn (d, c, a): (c - d) x (a - d); turn (b, c, d): (c - b) x (d - b).
  const __m128d u1 = _mm_sub_pd(pc, pd), w1 = _mm_sub_pd(pa, pd);
  const __m128d u2 = _mm_sub_pd(pc, pb), w2 = _mm_sub_pd(pd, pb);
  const __m128d p1 = _mm_mul_pd(u1, _mm_shuffle_pd(w1, w1, 1));  // (l1, r1)
  const __m128d p2 = _mm_mul_pd(u2, _mm_shuffle_pd(w2, w2, 1));  // (l2, r2)
  const __m128d l = _mm_unpacklo_pd(p1, p2), r = _mm_unpackhi_pd(p1, p2);
  const __m128d det = _mm_sub_pd(l, r);
  const __m128d absMask = _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
  const __m128d bound = _mm_mul_pd(_mm_set1_pd(8.9e-16), _mm_add_pd(_mm_and_pd(l, absMask), _mm_and_pd(r, absMask)));
  const int left = _mm_movemask_pd(_mm_cmpgt_pd(det, bound));
  if (left == 3) return true;
  const __m128d negBound = _mm_xor_pd(bound, _mm_set1_pd(-0.0));
  if (_mm_movemask_pd(_mm_cmplt_pd(det, negBound)) != 0) return false;
  return ((left & 1) || TurnsLeftUndecided(v[d], v[c], v[a])) && ((left & 2) || TurnsLeftUndecided(v[b], v[c], v[d]));
}

}  // namespace

// Passes run until one flips nothing, but never more often than there are
// vertices: the limit ties the work to the input size rather than to
// convergence. Near co-circular corners can make the float circle test want
// both diagonals of a quadrilateral, so a few flips may repeat until the
// limit. Such a cycle is recognised by the changed records repeating at the
// start of a pass; the whole periods up to the limit are then skipped and
// only the remainder is run, which leaves exactly the records the full run
// would have left.
//
// A side check reads only its triangle, the neighbour across the side and
// fixed vertices. From the second pass on, a check whose two records no flip
// has changed since it last ran finds nothing again and is skipped. The
// reference scans skip nothing, so the tests compare both.
//
// Flip across side s of T = (a, b, c), with N the neighbour on a-b and d its
// corner opposite that side:
//
//        c                 c
//       / \               /|\        T -> (d, c, a) in T's slots s, s+1, s+2
//      / T \             / | \       N -> (b, c, d) in N's slots ns, ns+1, ns+2
//     a-----b    ->     a T|N b
//      \ N /             \ | /
//       \ /               \|/
//        d                 d
void TaCIncrementalDelaunay2D::LegalizeEdges() {
  static constexpr int kNext[3] = {1, 2, 0}, kPrev[3] = {2, 0, 1};
  const int passLimit = GetNumVertices();
  PrefetchOppositeCorners(m_AffectedTriangleList, m_pVertices);
  // checkedAt[i]: the flip clock when the checks of the i-th triangle last
  // began; the first pass writes each entry before any later pass reads it.
  // A triangle that joins the list (a flipped working neighbour) starts at
  // 0, so everything about it is checked.
  const auto fitStamps = [this](std::size_t count) {
    if (m_LegalizeStamps.size() < count) m_LegalizeStamps.resize(std::max<std::size_t>(2 * count, 64));
    return m_LegalizeStamps.data();
  };
  uint64_t* checkedAt = fitStamps(static_cast<std::size_t>(m_AffectedTriangleList.GetCount()));
  const bool skipUnchanged = !m_bReferenceScans;
  CFlipHistory history;
  bool watching = false, skipped = false;
  int passes = 0;
  bool flipped = true;
  while (flipped && passes < passLimit) {
    if (passes >= kWatchFromPass && !m_bReferenceScans && !skipped) {
      if (!watching) {
        for (t_hdelaunaytriangle* t : m_AffectedTriangleList) history.Touch(t);
        watching = true;
      }
      const int period = history.RecordAndFindPeriod(passes, m_AffectedTriangleList.GetCount());
      if (period > 0) {
        passes += (passLimit - passes) / period * period;
        skipped = true;
        if (passes >= passLimit) break;
      }
    }
    const bool firstPass = passes == 0;
    flipped = false;
    ++passes;
    int i = 0;
    for (t_hdelaunaytriangle* t = m_AffectedTriangleList.GetHead(); t; t = t->pNext, ++i) {
      const uint64_t since = firstPass ? 0 : checkedAt[i];
      checkedAt[i] = m_nFlipClock;
      for (int s = 0; s < 3; ++s) {
        t_hdelaunaytriangle* n = t->pNeighbour[s];
        if (!n || n->bLocked) continue;
        if (skipUnchanged && !firstPass && t->nChangedAt <= since && n->nChangedAt <= since) continue;
        const ESharedSide ns = FindCommonSide(static_cast<ESharedSide>(s), t, n);
        if (ns == eNoCommonSide) continue;
        const int d = n->nVertex[kPrev[ns]];
        if (!relief::detail::InCircleDouble(t, m_pVertices[d].x, m_pVertices[d].y)) continue;

        const int s1 = kNext[s], s2 = kPrev[s];
        const int n1 = kNext[ns], n2 = kPrev[ns];
        const int a = t->nVertex[s], b = t->nVertex[s1], c = t->nVertex[s2];
        // A corner truly inside the circle makes a convex quadrilateral; the
        // float circle of a thin triangle can claim one that is not, and its
        // flip would fold a triangle over. Such a flip is not made.
        if (!ConvexAcross(m_pVertices, a, b, c, d)) continue;
        t_hdelaunaytriangle* tb = t->pNeighbour[s1];  // on b-c, moves to N
        t_hdelaunaytriangle* tc = t->pNeighbour[s2];  // on c-a, stays with T
        // N's other two sides: the one touching a moves to T, the one touching b stays.
        const bool n1HasA = n->nVertex[n1] == a || n->nVertex[kNext[n1]] == a;
        t_hdelaunaytriangle* na = n->pNeighbour[n1HasA ? n1 : n2];
        t_hdelaunaytriangle* nb = n->pNeighbour[n1HasA ? n2 : n1];

        t->nVertex[s] = d, t->nVertex[s1] = c, t->nVertex[s2] = a;
        t->pNeighbour[s] = n, t->pNeighbour[s1] = tc, t->pNeighbour[s2] = na;
        n->nVertex[ns] = b, n->nVertex[n1] = c, n->nVertex[n2] = d;
        n->pNeighbour[ns] = tb, n->pNeighbour[n1] = t, n->pNeighbour[n2] = nb;
        ReplaceNeighbourInNeighbour(tb, t, n);
        ReplaceNeighbourInNeighbour(na, n, t);
        CalcCircumCircle(t);
        CalcCircumCircle(n);
        // A working neighbour flipped with an affected triangle (the float
        // circles of the search and of this test can disagree near the
        // circle) joins the affected list, so that its new sides are checked
        // too; otherwise a side that should flip could stay.
        if (InWorkingList(n)) {
          RemoveFromWorking(n);
          m_AffectedTriangleList.AddTail(n);
          const std::size_t count = static_cast<std::size_t>(m_AffectedTriangleList.GetCount());
          checkedAt = fitStamps(count);
          checkedAt[count - 1] = 0;
        }
        const uint64_t now = ++m_nFlipClock;
        for (t_hdelaunaytriangle* changed : {t, n, tb, na})
          if (changed) changed->nChangedAt = now;
        if (watching) {
          history.Touch(n);
          history.Touch(tb);
          history.Touch(na);
        }
        flipped = true;
      }
    }
  }
}
