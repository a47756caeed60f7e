// CHTriangulation from a height field: the per-cell case table
// (AppendTriangle) and the full-resolution and subsampled builders.
//
// Every vertex normal of a cell is one of four vectors built from the cell's
// height differences, (dX0, dY0), (dX1, dY1), (dX1, dY0) and (dX0, dY1) with
// z = 1, so a cell computes those four once. The full-resolution builder goes
// one step further: where the four cells of a register column pair are all
// full, it computes the four cells' normals lane-parallel, one cell per lane.
// Each lane performs exactly the operations of the one-cell path (the same
// products, the same pairing of the length's sum, the same divisions), so
// both paths give the same bits.

#include <emmintrin.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mesh/triangle_storage.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

namespace {

const __m128 kSignBits = _mm_set1_ps(-0.0f);

inline __m128 Negate(__m128 v) { return _mm_xor_ps(v, kSignBits); }

// Where the triangles of a cell go. A fresh mesh (the builders) has
// allocated but unwritten storage: every field of the record and every array
// element is written, with what CreateTriangulation would have left in the
// fields the cell does not set. The builders write far more than any cache
// holds and never read it back, so the fresh path stores the points around
// the caches (streaming stores; the builder fences once at the end). An
// existing mesh (AppendTriangle called by a caller) keeps everything the
// cell does not set, corner w included.
template <bool Fresh>
struct TriangleSink {
  CHTriangulation& m;

  void Put(int i, __m128 p0, __m128 p1, __m128 p2, __m128 n0, __m128 n1, __m128 n2, __m128 main, bool linkNext) const {
    SSEPoint* corners = m.EdgeArray + 3 * i;
    SSEPoint* normals = m.NormalArray + 3 * i;
    t_htriangle& t = m.Triangles[i];
    if (!Fresh) {
      SetXYZ(corners[0], p0);
      SetXYZ(corners[1], p1);
      SetXYZ(corners[2], p2);
      normals[0].m = n0;
      normals[1].m = n1;
      normals[2].m = n2;
      m.MainNormalArray[i].m = main;
      // The first triangle of a full cell knows its partner across the diagonal.
      if (linkNext) t.pNeighbour[0] = &m.Triangles[i + 1];
      return;
    }
    Stream(corners[0], p0);
    Stream(corners[1], p1);
    Stream(corners[2], p2);
    Stream(normals[0], n0);
    Stream(normals[1], n1);
    Stream(normals[2], n2);
    Stream(m.MainNormalArray[i], main);
    records.Emit(m, i, linkNext);
  }

  // The records of consecutive triangles differ by constant steps (every
  // pointer moves on by one element of its array, Index by one), so the
  // fresh path keeps the nine registers of the next record and advances
  // them, instead of assembling eighteen fields per triangle.
  struct RecordCursor {
    static constexpr int kRegs = sizeof(t_htriangle) / 16;
    __m128i reg[kRegs];
    __m128i next;  // (&Triangles[i + 1], 0): the slot-0 link of a full cell's first triangle
    int index = -1;

    static std::int64_t Address(const void* p) {
      return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(p));
    }

    void Seek(const CHTriangulation& m, int i) {
      const std::int64_t e = Address(m.EdgeArray + 3 * i), n = Address(m.NormalArray + 3 * i);
      reg[0] = _mm_set_epi64x(e + 16, e);
      reg[1] = _mm_set_epi64x(n, e + 32);
      reg[2] = _mm_set_epi64x(n + 32, n + 16);
      reg[3] = _mm_set_epi64x(Address(m.SArray + i), Address(m.TArray + i));
      reg[4] = _mm_set_epi64x(Address(m.MainNormalArray + i), Address(m.VArray + i));
      reg[5] = _mm_set_epi64x(Address(m.MaxPointArray + i), Address(m.MinPointArray + i));
      reg[6] = reg[7] = _mm_setzero_si128();
      // Index in the low half of the last eight bytes, Type -1 in the high half.
      reg[8] = _mm_set_epi64x(static_cast<std::int64_t>((std::uint64_t{0xFFFFFFFFu} << 32) | std::uint32_t(i)), 0);
      next = _mm_set_epi64x(0, Address(m.Triangles + i + 1));
      index = i;
    }

    // The register pairs, in record order: (pPoint[0], pPoint[1]),
    // (pPoint[2], pNormal[0]), (pNormal[1], pNormal[2]), (pT, pS),
    // (pV, pMainNormal), (pMinPoint, pMaxPoint), (pNeighbour[0], [1]),
    // (pNeighbour[2], pNext), (pPrev, Index and Type).
    static_assert(sizeof(t_htriangle) == 144 && sizeof(void*) == 8, "record layout of the 64-bit build");
    static_assert(offsetof(t_htriangle, pPoint) == 0 && offsetof(t_htriangle, pNormal) == 24, "corner registers");
    static_assert(offsetof(t_htriangle, pT) == 48 && offsetof(t_htriangle, pS) == 56, "edge-vector register");
    static_assert(offsetof(t_htriangle, pV) == 64 && offsetof(t_htriangle, pMainNormal) == 72, "normal register");
    static_assert(offsetof(t_htriangle, pMinPoint) == 80 && offsetof(t_htriangle, pMaxPoint) == 88, "box register");
    static_assert(offsetof(t_htriangle, pNeighbour) == 96 && offsetof(t_htriangle, pNext) == 120, "link registers");
    static_assert(offsetof(t_htriangle, pPrev) == 128 && offsetof(t_htriangle, Index) == 136 &&
                      offsetof(t_htriangle, Type) == 140,
                  "last register: pPrev, then Index in the low and Type in the high half of its upper word");

    void Emit(const CHTriangulation& m, int i, bool linkNext) {
      if (i != index) Seek(m, i);
      // Ordinary stores: measured against streaming ones, the records (144
      // contiguous bytes per triangle) came out faster through the cache.
      __m128i* to = reinterpret_cast<__m128i*>(m.Triangles + i);
      for (int k = 0; k < kRegs; ++k)
        _mm_storeu_si128(to + k, k == 6 ? (linkNext ? next : _mm_setzero_si128()) : reg[k]);
      const __m128i by48 = _mm_set1_epi64x(48), by16 = _mm_set1_epi64x(16);
      reg[0] = _mm_add_epi64(reg[0], by48);
      reg[1] = _mm_add_epi64(reg[1], by48);
      reg[2] = _mm_add_epi64(reg[2], by48);
      reg[3] = _mm_add_epi64(reg[3], by16);
      reg[4] = _mm_add_epi64(reg[4], by16);
      reg[5] = _mm_add_epi64(reg[5], by16);
      reg[8] = _mm_add_epi64(reg[8], _mm_set_epi64x(1, 0));
      next = _mm_add_epi64(next, _mm_set_epi64x(0, sizeof(t_htriangle)));
      ++index;
    }
  };
  mutable RecordCursor records;

  static void Stream(SSEPoint& dst, __m128 v) { _mm_stream_ps(&dst.x, v); }

  static void SetXYZ(SSEPoint& dst, __m128 p) {
    SSEPoint s;
    s.m = p;
    dst.x = s.x;
    dst.y = s.y;
    dst.z = s.z;
  }
};

// (dx, dy, 1, 0) divided by its four-lane length.
inline __m128 CellNormal(float dx, float dy) { return CSSEFns::normalizevector(_mm_set_ps(0.0f, 1.0f, dy, dx)); }

inline __m128 MainNormal(__m128 n0, __m128 n1, __m128 n2) {
  return CSSEFns::normalizevector(_mm_add_ps(_mm_add_ps(n0, n1), n2));
}

template <bool Fresh>
void EmitCell(const TriangleSink<Fresh>& sink, int mask0, int mask1, float x0, float x1, float y0, float y1, float z00,
              float z01, float z10, float z11, int& count, bool flipNormals, bool fillCell) {
  if (fillCell) {
    if (mask1 == 1 || mask1 == 2) mask1 = 3;
    if (mask0 == 1 || mask0 == 2) mask0 = 3;
  }
  const bool full = mask0 == 3 && mask1 == 3;
  if (!full && !(mask0 == 3 && (mask1 == 1 || mask1 == 2)) && !(mask1 == 3 && (mask0 == 1 || mask0 == 2))) return;

  const __m128 p00 = _mm_set_ps(0.0f, z00, y0, x0);
  const __m128 p01 = _mm_set_ps(0.0f, z01, y1, x0);
  const __m128 p10 = _mm_set_ps(0.0f, z10, y0, x1);
  const __m128 p11 = _mm_set_ps(0.0f, z11, y1, x1);
  const float dX0 = z00 - z10, dX1 = z01 - z11, dY0 = z00 - z01, dY1 = z10 - z11;
  __m128 nA = CellNormal(dX0, dY0), nB = CellNormal(dX1, dY1);
  __m128 nC = CellNormal(dX1, dY0), nD = CellNormal(dX0, dY1);
  if (flipNormals) {
    nA = Negate(nA);
    nB = Negate(nB);
    nC = Negate(nC);
    nD = Negate(nD);
  }

  if (full) {
    // Split along P00-P11.
    sink.Put(count, p00, p11, p01, nA, nB, nC, MainNormal(nA, nB, nC), true);
    sink.Put(count + 1, p00, p10, p11, nA, nD, nB, MainNormal(nA, nD, nB), false);
    count += 2;
  } else if (mask0 == 3 && mask1 == 1) {  // (x1, y1) missing
    sink.Put(count++, p00, p10, p01, nA, nD, nC, MainNormal(nA, nD, nC), false);
  } else if (mask0 == 3) {  // (x1, y0) missing
    sink.Put(count++, p00, p11, p01, nA, nB, nC, MainNormal(nA, nB, nC), false);
  } else if (mask0 == 1) {  // (x0, y1) missing
    sink.Put(count++, p00, p10, p11, nA, nD, nB, MainNormal(nA, nD, nB), false);
  } else {  // (x0, y0) missing
    sink.Put(count++, p10, p11, p01, nD, nB, nC, MainNormal(nD, nB, nC), false);
  }
}

// Four (dx, dy, 1, 0) normals at once, one per lane of dx and dy, in
// structure-of-arrays form: lane by lane the results of normalizevector
// (length^2 summed as (x^2 + w^2) + (y^2 + z^2), then a division per lane,
// the w lane's replaced by its known outcome).
struct Normals4 {
  __m128 x, y, z, w;
};

inline Normals4 CellNormals4(__m128 dx, __m128 dy) {
  const __m128 one = _mm_set1_ps(1.0f), zero = _mm_setzero_ps();
  const __m128 xw = _mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(zero, zero));
  const __m128 yz = _mm_add_ps(_mm_mul_ps(dy, dy), _mm_mul_ps(one, one));
  const __m128 len = _mm_sqrt_ps(_mm_add_ps(xw, yz));
  // 0 / len without the division: len is at least 1, infinite or NaN, so
  // the quotient is +0 except for a NaN len, which the division would pass
  // through as it is (it is already quiet, coming from the root).
  const __m128 w = _mm_and_ps(_mm_cmpunord_ps(len, len), len);
  return {_mm_div_ps(dx, len), _mm_div_ps(dy, len), _mm_div_ps(one, len), w};
}

inline Normals4 MainNormals4(const Normals4& a, const Normals4& b, const Normals4& c) {
  const Normals4 s = {_mm_add_ps(_mm_add_ps(a.x, b.x), c.x), _mm_add_ps(_mm_add_ps(a.y, b.y), c.y),
                      _mm_add_ps(_mm_add_ps(a.z, b.z), c.z), _mm_add_ps(_mm_add_ps(a.w, b.w), c.w)};
  const __m128 xw = _mm_add_ps(_mm_mul_ps(s.x, s.x), _mm_mul_ps(s.w, s.w));
  const __m128 yz = _mm_add_ps(_mm_mul_ps(s.y, s.y), _mm_mul_ps(s.z, s.z));
  const __m128 len = _mm_sqrt_ps(_mm_add_ps(xw, yz));
  return {_mm_div_ps(s.x, len), _mm_div_ps(s.y, len), _mm_div_ps(s.z, len), _mm_div_ps(s.w, len)};
}

// Structure of arrays to one point per lane: out[j] = (x[j], y[j], z[j], w[j]).
struct Points4 {
  __m128 p[4];
};

inline Points4 Transpose(__m128 x, __m128 y, __m128 z, __m128 w) {
  _MM_TRANSPOSE4_PS(x, y, z, w);
  return {{x, y, z, w}};
}

inline Points4 Transpose(const Normals4& n, bool negate) {
  if (!negate) return Transpose(n.x, n.y, n.z, n.w);
  return Transpose(Negate(n.x), Negate(n.y), Negate(n.z), Negate(n.w));
}

// T, S and V of a fresh mesh are zero until CalcSTV: cleared in bulk before
// the cells are written, which keeps the cell loop to four output streams.
void ClearEdgeVectors(CHTriangulation& m) {
  const std::size_t bytes = sizeof(SSEPoint) * static_cast<std::size_t>(m.NumTriangles);
  std::memset(static_cast<void*>(m.TArray), 0, bytes);
  std::memset(static_cast<void*>(m.SArray), 0, bytes);
  std::memset(static_cast<void*>(m.VArray), 0, bytes);
}

// Lanes 1..3 of a followed by lane 0 of b: the pixels one row further down.
inline __m128 NextRow(__m128 a, __m128 b) {
  const __m128 t = _mm_move_ss(a, b);  // (b0, a1, a2, a3)
  return _mm_shuffle_ps(t, t, _MM_SHUFFLE(0, 3, 2, 1));
}

// The four full cells of columns x, x+1 and image rows 4k .. 4k+4, written as
// eight triangles from `count` on. Bit-identical to four EmitCell calls:
// negating the vertex normals first and negating the finished normals give
// the same bits, because sums and quotients of negated values are the
// negated sums and quotients.
void EmitFullColumn(const TriangleSink<true>& sink, __m128 r00, __m128 r10, __m128 r01, __m128 r11, float x0, float x1,
                    __m128 y0, __m128 y1, int& count, bool flip) {
  const __m128 z00 = r00, z10 = r10, z01 = NextRow(r00, r01), z11 = NextRow(r10, r11);
  const __m128 dX0 = _mm_sub_ps(z00, z10), dX1 = _mm_sub_ps(z01, z11);
  const __m128 dY0 = _mm_sub_ps(z00, z01), dY1 = _mm_sub_ps(z10, z11);
  const Normals4 nA = CellNormals4(dX0, dY0), nB = CellNormals4(dX1, dY1);
  const Normals4 nC = CellNormals4(dX1, dY0), nD = CellNormals4(dX0, dY1);
  const Normals4 m1 = MainNormals4(nA, nB, nC), m2 = MainNormals4(nA, nD, nB);

  const __m128 zero = _mm_setzero_ps();
  const __m128 vx0 = _mm_set1_ps(x0), vx1 = _mm_set1_ps(x1);
  const Points4 p00 = Transpose(vx0, y0, z00, zero), p01 = Transpose(vx0, y1, z01, zero);
  const Points4 p10 = Transpose(vx1, y0, z10, zero), p11 = Transpose(vx1, y1, z11, zero);
  const Points4 a = Transpose(nA, flip), b = Transpose(nB, flip), c = Transpose(nC, flip), d = Transpose(nD, flip);
  const Points4 main1 = Transpose(m1, flip), main2 = Transpose(m2, flip);
  for (int j = 0; j < 4; ++j) {
    sink.Put(count, p00.p[j], p11.p[j], p01.p[j], a.p[j], b.p[j], c.p[j], main1.p[j], true);
    sink.Put(count + 1, p00.p[j], p10.p[j], p11.p[j], a.p[j], d.p[j], b.p[j], main2.p[j], false);
    count += 2;
  }
}

inline float Lane(__m128 v, int j) {
  SSEPoint p;
  p.m = v;
  return (&p.x)[j];
}

// Validity of the four lanes as bits 0..3.
struct Validity {
  __m128 threshold;
  bool above;
  int operator()(__m128 v) const {
    return _mm_movemask_ps(above ? _mm_cmpgt_ps(v, threshold) : _mm_cmplt_ps(v, threshold));
  }
};

int CountValid(const CSSEMatrix& field, float threshold, bool above) {
  return above ? field.NumValuesAbove(threshold) : field.NumValuesBelow(threshold);
}

}  // namespace

void CHTriangulation::AppendTriangle(int mask0, int mask1, float x0, float x1, float y0, float y1, float z00, float z01,
                                     float z10, float z11, int& count, bool flipNormals, bool fillCell) {
  EmitCell(TriangleSink<false>{*this, {}}, mask0, mask1, x0, x1, y0, y1, z00, z01, z10, z11, count, flipNormals,
           fillCell);
}

void CHTriangulation::CreateTriangulationFromSSEField(CSSEMatrix* field, float threshold, bool above) {
  const int n = field ? CountValid(*field, threshold, above) : 0;
  if (n < 1) {
    FreeTriangulation();
    return;
  }
  if (n > INT_MAX / 2) AfxThrowMemoryException();
  // Room for two triangles per valid lane; the count stays at that bound
  // even when fewer are written, and the unwritten tail looks as
  // CreateTriangulation leaves it.
  relief::detail::AllocateTriangles(*this, 2 * n);
  ClearEdgeVectors(*this);

  const TriangleSink<true> sink{*this, {}};
  const Validity valid{_mm_set1_ps(threshold), above};
  const bool flip = !above;  // a surface valid below the threshold faces down
  __m128** lines = field->GetMatrixDataDirectly();
  const int sseX = field->GetSSESizeX(), sseY = field->GetSSESizeY();
  const __m128 rowOffsets = _mm_set_ps(3.0f, 2.0f, 1.0f, 0.0f);
  const __m128 scaleY = _mm_set1_ps(ScaleY);
  int count = 0;
  for (int x = 0; x < sseX - 1; ++x) {
    const float x0 = static_cast<float>(x) * ScaleX;
    const float x1 = x0 + ScaleX;
    for (int k = 0; k < sseY - 1; ++k) {
      const __m128 r00 = lines[k][x], r10 = lines[k][x + 1];
      const __m128 r01 = lines[k + 1][x], r11 = lines[k + 1][x + 1];
      const int a = valid(r00), b = valid(r10);
      const int a4 = (valid(r01) & 1) << 4, b4 = (valid(r11) & 1) << 4;
      const __m128 y0 = _mm_mul_ps(_mm_add_ps(_mm_set1_ps(static_cast<float>(4 * k)), rowOffsets), scaleY);
      if ((a | a4) == 0x1F && (b | b4) == 0x1F) {
        EmitFullColumn(sink, r00, r10, r01, r11, x0, x1, y0, _mm_add_ps(y0, scaleY), count, flip);
        continue;
      }
      if (((a | a4) & 0x1F) == 0 && ((b | b4) & 0x1F) == 0) continue;
      const __m128 z01 = NextRow(r00, r01), z11 = NextRow(r10, r11);
      for (int j = 0; j < 4; ++j) {
        const float yy0 = Lane(y0, j);
        EmitCell(sink, ((a | a4) >> j) & 3, ((b | b4) >> j) & 3, x0, x1, yy0, yy0 + ScaleY, Lane(r00, j), Lane(z01, j),
                 Lane(r10, j), Lane(z11, j), count, flip, false);
      }
    }
  }
  _mm_sfence();  // the streamed stores are ordered before anything later
  relief::detail::ResetTriangles(*this, count, NumTriangles);
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above,
                                                                int stepX, int stepY) {
  // Zero steps leave the mesh alone; negative ones would never end.
  if (!field || stepX < 1 || stepY < 1) return;
  const int sizeX = field->GetSizeX(), sizeY = field->GetSizeY();
  const __m128 t = _mm_set1_ps(threshold);
  auto valid = [&](int x, int y) {
    const __m128 v = _mm_set_ss(field->GetPoint(x, y));
    return (_mm_movemask_ps(above ? _mm_cmpgt_ss(v, t) : _mm_cmplt_ss(v, t)) & 1) != 0;
  };
  auto masks = [&](int x, int y, int& mask0, int& mask1) {
    mask0 = int(valid(x, y)) | int(valid(x, y + stepY)) << 1;
    mask1 = int(valid(x + stepX, y)) | int(valid(x + stepX, y + stepY)) << 1;
  };
  // The cells decide how many triangles there are; counting them first
  // sizes the mesh exactly, where a bound from the number of valid pixels
  // could be too small for a sparse field.
  int needed = 0;
  for (int x = 0; x < sizeX - stepX; x += stepX)
    for (int y = 0; y < sizeY - stepY; y += stepY) {
      int mask0, mask1;
      masks(x, y, mask0, mask1);
      if (mask0 == 3 && mask1 == 3)
        needed += 2;
      else if ((mask0 == 3 && mask1 != 0) || (mask1 == 3 && mask0 != 0))
        needed += 1;
    }
  relief::detail::AllocateTriangles(*this, needed);
  ClearEdgeVectors(*this);

  const TriangleSink<true> sink{*this, {}};
  int count = 0;
  for (int x = 0; x < sizeX - stepX; x += stepX) {
    const float x0 = static_cast<float>(x) * ScaleX;
    const float x1 = static_cast<float>(x + stepX) * ScaleX;
    for (int y = 0; y < sizeY - stepY; y += stepY) {
      int mask0, mask1;
      masks(x, y, mask0, mask1);
      EmitCell(sink, mask0, mask1, x0, x1, static_cast<float>(y) * ScaleY, static_cast<float>(y + stepY) * ScaleY,
               field->GetPoint(x, y), field->GetPoint(x, y + stepY), field->GetPoint(x + stepX, y),
               field->GetPoint(x + stepX, y + stepY), count, !above, false);
    }
  }
  _mm_sfence();
  NumTriangles = count;
}

// The variants of the subsampled builder pick their own cells and write
// them here, the way the plain builder writes its cells.
void relief::detail::WriteSubsampledCells(CHTriangulation& m, const CSSEMatrix& field, const SubsampledCell* cells,
                                          int numCells, int needed, int stepX, int stepY, bool above, bool fillCell) {
  AllocateTriangles(m, needed);
  ClearEdgeVectors(m);
  const TriangleSink<true> sink{m, {}};
  int count = 0;
  for (int k = 0; k < numCells; ++k) {
    const int x = cells[k].x, y = cells[k].y;
    EmitCell(sink, cells[k].mask0, cells[k].mask1, static_cast<float>(x) * m.ScaleX,
             static_cast<float>(x + stepX) * m.ScaleX, static_cast<float>(y) * m.ScaleY,
             static_cast<float>(y + stepY) * m.ScaleY, field.GetPoint(x, y), field.GetPoint(x, y + stepY),
             field.GetPoint(x + stepX, y), field.GetPoint(x + stepX, y + stepY), count, !above, fillCell);
  }
  _mm_sfence();
  relief::detail::ResetTriangles(m, count, m.NumTriangles);
  m.NumTriangles = count;
}
