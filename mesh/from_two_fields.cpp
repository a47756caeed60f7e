// A closed solid between two height fields: the top surface from one raster,
// the bottom surface from another, and side walls along the border of the
// region where both hold data.
//
// Cells are those of the subsampled builder, with the same case table: a
// cell with four valid corners gives two triangles split along P00-P11,
// three valid corners one triangle. Every triangle of the table runs
// counter-clockwise seen from +z, so its cell sides are directed P00 -> P10
// -> P11 -> P01 -> P00. A cell side that is an edge of the top surface
// belongs to exactly the cells on both sides that write triangles (a cell
// holding both ends of a side and a third valid corner always uses that
// side), so a side is on the border when the cell across it writes nothing
// or lies outside the window; the diagonal of a three-corner cell is always
// on the border. Each border edge a -> b gets the wall (b_top, a_top,
// a_bottom), (b_top, a_bottom, b_bottom); the bottom surface repeats the top
// triangles reversed. Every edge is then shared by two triangles running it
// in opposite directions.

#include <emmintrin.h>

#include <vector>

#include "mesh/subsampled_cells.h"

using namespace relief::detail;

namespace {

class SolidBuilder {
 public:
  SolidBuilder(CHTriangulation& m, const CSSEMatrix& top, const CSSEMatrix& bottom, const CellWindow& w, bool walls)
      : m_(m), w_(w), walls_(walls) {
    nx_ = (w.x1 - w.x0) / w.stepX;
    ny_ = (w.y1 - w.y0) / w.stepY;
    const std::size_t vertices = std::size_t(nx_ + 1) * (ny_ + 1);
    valid_.resize(vertices);
    topZ_.resize(vertices);
    bottomZ_.resize(vertices);
    for (int i = 0; i <= nx_; ++i)
      for (int j = 0; j <= ny_; ++j) {
        const int x = X(i), y = Y(j);
        const std::size_t v = Vertex(i, j);
        topZ_[v] = top.GetPoint(x, y);
        bottomZ_[v] = bottom.GetPoint(x, y);
        valid_[v] = topZ_[v] != 0.0f && bottomZ_[v] != 0.0f;
      }
    cells_.resize(std::size_t(nx_) * ny_);
    for (int i = 0; i < nx_; ++i)
      for (int j = 0; j < ny_; ++j) {
        int mask0, mask1;
        Masks(i, j, mask0, mask1);
        cells_[Cell(i, j)] = static_cast<unsigned char>(TrianglesOfCell(mask0, mask1, false));
      }
  }

  void Build() {
    int total = 0;
    for (int i = 0; i < nx_; ++i)
      for (int j = 0; j < ny_; ++j) total += Emit(i, j, nullptr);
    m_.CreateTriangulation(total);
    int count = 0;
    for (int i = 0; i < nx_; ++i)
      for (int j = 0; j < ny_; ++j) Emit(i, j, &count);
    _mm_sfence();
  }

 private:
  int X(int i) const { return w_.x0 + i * w_.stepX; }
  int Y(int j) const { return w_.y0 + j * w_.stepY; }
  std::size_t Vertex(int i, int j) const { return std::size_t(i) * (ny_ + 1) + j; }
  std::size_t Cell(int i, int j) const { return std::size_t(i) * ny_ + j; }
  int Valid(int i, int j) const { return valid_[Vertex(i, j)]; }
  void Masks(int i, int j, int& mask0, int& mask1) const {
    mask0 = Valid(i, j) | Valid(i, j + 1) << 1;
    mask1 = Valid(i + 1, j) | Valid(i + 1, j + 1) << 1;
  }
  bool Writes(int i, int j) const { return i >= 0 && j >= 0 && i < nx_ && j < ny_ && cells_[Cell(i, j)] != 0; }

  // Grid vertex (i, j) on the top or the bottom surface.
  SSEPoint Point(int i, int j, bool onTop) const {
    SSEPoint p;
    p.x = static_cast<float>(X(i)) * m_.ScaleX;
    p.y = static_cast<float>(Y(j)) * m_.ScaleY;
    p.z = onTop ? topZ_[Vertex(i, j)] : bottomZ_[Vertex(i, j)];
    p.w = 0.0f;
    return p;
  }

  struct Corner {
    int i, j;
  };

  // The corners were just cleared and are not read again here: stored past
  // the caches (the builder fences once at the end).
  void Put(int* count, const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
    SSEPoint* e = m_.EdgeArray + 3 * (*count)++;
    _mm_stream_ps(&e[0].x, a.m);
    _mm_stream_ps(&e[1].x, b.m);
    _mm_stream_ps(&e[2].x, c.m);
  }

  // The top triangle a, b, c, its mirror on the bottom, and the walls of
  // those of its edges that are flagged as border (edge k runs from corner
  // k to corner k + 1). Returns the number of triangles.
  int Triangle(int* count, Corner a, Corner b, Corner c, const bool border[3]) {
    int n = 2;
    for (int k = 0; k < 3; ++k) n += walls_ && border[k] ? 2 : 0;
    if (!count) return n;
    Put(count, Point(a.i, a.j, true), Point(b.i, b.j, true), Point(c.i, c.j, true));
    Put(count, Point(c.i, c.j, false), Point(b.i, b.j, false), Point(a.i, a.j, false));
    const Corner corners[3] = {a, b, c};
    for (int k = 0; walls_ && k < 3; ++k) {
      if (!border[k]) continue;
      const Corner from = corners[k], to = corners[(k + 1) % 3];
      const SSEPoint fromTop = Point(from.i, from.j, true), toTop = Point(to.i, to.j, true);
      const SSEPoint fromBottom = Point(from.i, from.j, false), toBottom = Point(to.i, to.j, false);
      Put(count, toTop, fromTop, fromBottom);
      Put(count, toTop, fromBottom, toBottom);
    }
    return n;
  }

  // Triangles of cell (i, j): counted when count is null, written otherwise.
  int Emit(int i, int j, int* count) {
    if (!cells_[Cell(i, j)]) return 0;
    int mask0, mask1;
    Masks(i, j, mask0, mask1);
    const Corner p00{i, j}, p10{i + 1, j}, p11{i + 1, j + 1}, p01{i, j + 1};
    // Border flags of the four sides: the cell across writes nothing.
    const bool bottomSide = !Writes(i, j - 1), rightSide = !Writes(i + 1, j);
    const bool topSide = !Writes(i, j + 1), leftSide = !Writes(i - 1, j);
    if (mask0 == 3 && mask1 == 3) {
      const bool first[3] = {false, topSide, leftSide};     // P00 P11 P01
      const bool second[3] = {bottomSide, rightSide, false};  // P00 P10 P11
      return Triangle(count, p00, p11, p01, first) + Triangle(count, p00, p10, p11, second);
    }
    if (mask0 == 3 && mask1 == 1) {
      const bool b[3] = {bottomSide, true, leftSide};
      return Triangle(count, p00, p10, p01, b);
    }
    if (mask0 == 3) {
      const bool b[3] = {true, topSide, leftSide};
      return Triangle(count, p00, p11, p01, b);
    }
    if (mask0 == 1) {
      const bool b[3] = {bottomSide, rightSide, true};
      return Triangle(count, p00, p10, p11, b);
    }
    const bool b[3] = {rightSide, topSide, true};
    return Triangle(count, p10, p11, p01, b);
  }

  CHTriangulation& m_;
  CellWindow w_;
  bool walls_;
  int nx_ = 0, ny_ = 0;
  std::vector<unsigned char> valid_;  // per grid vertex: both fields hold data
  std::vector<float> topZ_, bottomZ_;  // per grid vertex
  std::vector<unsigned char> cells_;  // per cell: triangles of the top surface
};

void BuildSolid(CHTriangulation& m, CSSEMatrix* top, CSSEMatrix* bottom, bool walls, CellWindow w) {
  if (!top || !bottom || w.stepX < 1 || w.stepY < 1) return;
  if (!top->GetMatrixDataDirectly() || !bottom->GetMatrixDataDirectly() || top->GetSizeX() != bottom->GetSizeX() ||
      top->GetSizeY() != bottom->GetSizeY() || !ClipWindow(*top, w)) {
    m.FreeTriangulation();
    return;
  }
  SolidBuilder(m, *top, *bottom, w, walls).Build();
}

}  // namespace

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* top, CSSEMatrix* bottom,
                                                                         bool closeSides, int stepX, int stepY) {
  BuildSolid(*this, top, bottom, closeSides, CellWindow{0, 0x7FFFFFFF, 0, 0x7FFFFFFF, stepX, stepY});
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* top, CSSEMatrix* bottom,
                                                                         bool closeSides, int xFrom, int xTo,
                                                                         int yFrom, int yTo, int stepX, int stepY) {
  BuildSolid(*this, top, bottom, closeSides, CellWindow{xFrom, xTo, yFrom, yTo, stepX, stepY});
}
