// The indexed neighbour search against the plain pair scan over the working
// list, and the border line: one open edge per triangle, walked in reverse
// index order.

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

// A corner lies on a triangle when each of its lanes equals that lane of some corner.
bool NaiveLiesOn(const SSEPoint& p, const t_htriangle& b) {
  for (int l = 0; l < 4; ++l) {
    const float v = (&p.x)[l];
    if (v != (&b.pPoint[0]->x)[l] && v != (&b.pPoint[1]->x)[l] && v != (&b.pPoint[2]->x)[l]) return false;
  }
  return true;
}

int NaiveSlot(const t_htriangle& self, const t_htriangle& other) {
  const bool on0 = NaiveLiesOn(*self.pPoint[0], other), on1 = NaiveLiesOn(*self.pPoint[1], other),
             on2 = NaiveLiesOn(*self.pPoint[2], other);
  return on0 && on1 ? 0 : on1 && on2 ? 1 : on0 && on2 ? 2 : -1;
}

bool Full(const t_htriangle& t) { return t.pNeighbour[0] && t.pNeighbour[1] && t.pNeighbour[2]; }

void QuadraticNeighbours(CHTriangulation& m) {
  m.IndexTriangleList();
  for (t_htriangle* a = m.TriangleListHead; a; a = a->pNext)
    for (t_htriangle* b = a->pNext; b;) {
      const int slotA = NaiveSlot(*a, *b), slotB = NaiveSlot(*b, *a);
      if (slotA < 0) {
        b = b->pNext;
        continue;
      }
      a->pNeighbour[slotA] = b;
      if (slotB >= 0) b->pNeighbour[slotB] = a;
      t_htriangle* next = b->pNext;
      if (Full(*b)) m.DeleteTriangleFromList(b);
      if (Full(*a)) {  // the unlinked record keeps its links: carry on after it
        m.DeleteTriangleFromList(a);
        a = a->pNext;
        if (!a) return m.FindBorderTriangles();
        next = a->pNext;
      }
      b = next;
    }
  m.FindBorderTriangles();
}

// Every link of the result as indices (-1 for null), so two meshes compare.
std::vector<long> Links(const CHTriangulation& m) {
  auto idx = [&](const t_htriangle* t) { return t ? long(t - m.Triangles) : -1L; };
  std::vector<long> out{idx(m.TriangleListHead)};
  for (const t_htriangle* t = m.Triangles; t != m.Triangles + m.NumTriangles; ++t)
    out.insert(out.end(), {idx(t->pNeighbour[0]), idx(t->pNeighbour[1]), idx(t->pNeighbour[2]), idx(t->pNext),
                           idx(t->pPrev), long(t->Type)});
  return out;
}

// Soups whose corners come from small pools of lane values, so that corners
// repeat, edges are shared by several triangles, and corners "lie on"
// triangles through lanes taken from different corners.
std::vector<Tri> RandomSoup(std::mt19937& rng, int n) {
  const float xs[] = {0, 1, 2, 3, -0.0f}, ys[] = {0, 1, 2}, zs[] = {0, 0.5f, 0, 0, 1};
  std::uniform_int_distribution<int> pick(0, 99);
  std::vector<Corner> pool;
  for (int i = 0; i < 12; ++i)
    pool.push_back({xs[pick(rng) % 5], ys[pick(rng) % 3], zs[pick(rng) % 5], pick(rng) < 5 ? 1.0f : 0.0f});
  std::vector<Tri> soup(n);
  for (Tri& t : soup)
    for (Corner& c : t) {  // 70% pool corners, 27% lanes mixed from different pool corners, 3% NaN
      const int r = pick(rng);
      c = r < 70   ? pool[pick(rng) % 12]
          : r < 97 ? Corner{pool[pick(rng) % 12].x, pool[pick(rng) % 12].y, pool[pick(rng) % 12].z, 0}
                   : Corner{std::numeric_limits<float>::quiet_NaN(), 0, 0, 0};
    }
  return soup;
}

TEST(MeshNeighbours, MatchesTheQuadraticScanOnRandomSoupsAndGrids) {
  for (unsigned seed = 1; seed <= 312; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation source;
    if (seed <= 300) {
      Fill(source, RandomSoup(rng, 1 + int(rng() % (seed < 50 ? 8 : 120))));
    } else {  // quantised heights make flat regions, where corners lie on triangles through
              // lanes of different corners; zero tails of unwritten triangles repeat one point
      const int sx = 3 + int(rng() % 17), sy = 3 + int(rng() % 21);
      CSSEMatrix field;
      MakeField(field, sx, sy, [&](int, int) { return float(rng() % 3); });
      source.CreateTriangulationFromSSEField(&field, 0.5f, true);
    }
    CHTriangulation fast(&source), slow(&source);
    fast.CalcNeighbours();
    QuadraticNeighbours(slow);
    ASSERT_EQ(CheckMesh(fast), "") << "seed " << seed;
    ASSERT_EQ(Links(fast), Links(slow)) << "seed " << seed
                                        << " (head, then per triangle: 3 neighbours, next, prev, Type)";
  }
}

using P3 = std::array<float, 3>;

std::vector<P3> Points(const CSSE3dPolygon& p) {
  std::vector<P3> out(p.GetNumPoints());
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i][0], out[i][1], out[i][2]);
  return out;
}

// The border line written out: the first open edge of each triangle, in
// reverse index order, chained end to start where they meet, otherwise
// continued with the next edge's start; one point per edge.
std::vector<P3> ReferenceBorderLine(const CHTriangulation& m) {
  std::vector<std::pair<SSEPoint, SSEPoint>> edges;
  for (int i = m.NumTriangles - 1; i >= 0; --i)
    for (int s = 0; s < 3; ++s)
      if (!m.Triangles[i].pNeighbour[s]) {
        edges.push_back({*m.Triangles[i].pPoint[s], *m.Triangles[i].pPoint[(s + 1) % 3]});
        break;
      }
  std::vector<P3> out;
  auto p3 = [](const SSEPoint& p) { return P3{p.x, p.y, p.z}; };
  for (std::size_t i = 0; i < edges.size(); ++i) {
    if (i == 0) out.push_back(p3(edges[0].first));
    const bool meets = i == 0 || _mm_movemask_ps(_mm_cmpeq_ps(edges[i].first.m, edges[i - 1].second.m)) == 15;
    out.push_back(p3(meets ? edges[i].second : edges[i].first));
  }
  out.resize(edges.size());
  return out;
}

TEST(MeshBorder, MatchesTheWrittenOutWalk) {
  // Four unconnected triangles whose first edges, in reverse index order, walk around the unit square.
  CHTriangulation square;
  Fill(square, {Tri{{{0, 1, 0, 0}, {0, 0, 0, 0}, {10, 20, 0, 0}}}, Tri{{{1, 1, 0, 0}, {0, 1, 0, 0}, {11, 21, 0, 0}}},
                Tri{{{1, 0, 0, 0}, {1, 1, 0, 0}, {12, 22, 0, 0}}}, Tri{{{0, 0, 0, 0}, {1, 0, 0, 0}, {13, 23, 0, 0}}}});
  CSSE3dPolygon line;
  square.FindBorderLine(&line);
  EXPECT_EQ(Points(line), (std::vector<P3>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
  EXPECT_EQ(square.StretchListHead, nullptr);
  for (auto [sx, sy] : {std::pair{2, 5}, {3, 5}, {4, 9}, {7, 6}, {11, 13}}) {
    CSSEMatrix field;
    MakeField(field, sx, sy, [](int x, int y) { return 1.0f + 0.5f * x + 0.25f * y; });
    CHTriangulation m(&field, 0.0f, true, 1, 1, 1);
    m.CalcNeighbours(), m.FindBorderLine(&line);
    EXPECT_EQ(Points(line), ReferenceBorderLine(m)) << sx << " x " << sy;
    EXPECT_EQ(m.StretchListHead, nullptr) << sx << " x " << sy;
  }
  // A mesh without border leaves the polygon alone.
  CHTriangulation empty;
  const int before = line.GetNumPoints();
  empty.FindBorderLine(&line), empty.FindBorderLine(nullptr);
  EXPECT_EQ(line.GetNumPoints(), before);
}

}  // namespace
