// CHTriangulation: initialisation, allocation of the triangle arrays and release.

#include <cmath>
#include <cstring>

#include "mesh/triangle_storage.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/SafeMemory.h"

namespace {

constexpr std::size_t kAlign = 16;

SSEPoint* AllocPoints(std::size_t count) {
  return static_cast<SSEPoint*>(SafeAlignedAlloc(sizeof(SSEPoint) * count, kAlign));
}

// sqrt(x^2 + y^2) with the rounding the scan converter's step depends on: the
// sum is formed in double and rounded to float before the root, which is
// taken in double again.
float Diagonal(float x, float y) {
  const float sum = static_cast<float>(static_cast<double>(x) * x + static_cast<double>(y) * y);
  return static_cast<float>(std::sqrt(static_cast<double>(sum)));
}

}  // namespace

CHTriangulation::~CHTriangulation() {
  FreeTriangulation();
  SafeAlignedFree(PointArray);
}

CHTriangulation& CHTriangulation::operator=(const CHTriangulation& other) {
  // Deliberately shallow: the two objects share every block afterwards.
  if (this == &other) return *this;
  EdgeArray = other.EdgeArray;
  NormalArray = other.NormalArray;
  MainNormalArray = other.MainNormalArray;
  TArray = other.TArray;
  SArray = other.SArray;
  VArray = other.VArray;
  Triangles = other.Triangles;
  NumTriangles = other.NumTriangles;
  TriangleListHead = other.TriangleListHead;
  ScaleX = other.ScaleX;
  ScaleY = other.ScaleY;
  ScaleZ = other.ScaleZ;
  ScanConvResX = other.ScanConvResX;
  ScanConvResY = other.ScanConvResY;
  ScanConvResZ = other.ScanConvResZ;
  PointArray = other.PointArray;
  pMaxPoint = other.pMaxPoint;
  pCenterPoint = other.pCenterPoint;
  MinPointArray = other.MinPointArray;
  MaxPointArray = other.MaxPointArray;
  ScanConvDiagonal = other.ScanConvDiagonal;
  StretchListHead = other.StretchListHead;
  return *this;
}

void CHTriangulation::BaseInitialization(float sx, float sy, float sz) {
  ScanConvDiagonal = Diagonal(sx, sy);
  EdgeArray = NormalArray = MainNormalArray = TArray = SArray = VArray = nullptr;
  MinPointArray = MaxPointArray = nullptr;
  Triangles = nullptr;
  NumTriangles = 0;
  StretchListHead = nullptr;
  ScaleX = ScanConvResX = sx;
  ScaleY = ScanConvResY = sy;
  ScaleZ = ScanConvResZ = sz;
  // A second initialisation of the same object keeps its block rather than
  // leaking it; the contents are undefined either way.
  if (!PointArray) PointArray = AllocPoints(3);
  pMaxPoint = PointArray + 1;
  pCenterPoint = PointArray + 2;
}

void CHTriangulation::SetScanConvResolution(float rx, float ry, float rz) {
  ScanConvResX = rx;
  ScanConvResY = ry;
  ScanConvResZ = rz;
  ScanConvDiagonal = Diagonal(rx, ry);
}

void relief::detail::AllocateTriangles(CHTriangulation& m, int n) {
  // A mesh re-created with the count it has keeps its blocks: their contents
  // are rewritten either way, and large blocks come back from the system as
  // fresh pages whose first touch costs more than writing them.
  if (m.Triangles && n == m.NumTriangles) return;
  m.FreeTriangulation();
  if (n < 0) AfxThrowMemoryException();
  const std::size_t count = static_cast<std::size_t>(n);
  try {
    m.Triangles = static_cast<t_htriangle*>(SafeMalloc(sizeof(t_htriangle) * count));
    m.EdgeArray = AllocPoints(3 * count);
    m.NormalArray = AllocPoints(3 * count);
    m.MainNormalArray = AllocPoints(count);
    m.TArray = AllocPoints(count);
    m.SArray = AllocPoints(count);
    m.VArray = AllocPoints(count);
    m.MinPointArray = AllocPoints(count);
    m.MaxPointArray = AllocPoints(count);
  } catch (...) {
    // No half-built mesh: release whatever this call obtained.
    m.FreeTriangulation();
    throw;
  }
  m.NumTriangles = n;
}

void relief::detail::ResetTriangles(CHTriangulation& m, int first, int last) {
  if (last <= first) return;
  const std::size_t from = static_cast<std::size_t>(first);
  const std::size_t count = static_cast<std::size_t>(last - first);
  // The per-triangle extremes are left as allocated: every builder is
  // followed by CalcSTV, which writes them.
  std::memset(static_cast<void*>(m.EdgeArray + 3 * from), 0, sizeof(SSEPoint) * 3 * count);
  std::memset(static_cast<void*>(m.NormalArray + 3 * from), 0, sizeof(SSEPoint) * 3 * count);
  std::memset(static_cast<void*>(m.MainNormalArray + from), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(m.TArray + from), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(m.SArray + from), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(m.VArray + from), 0, sizeof(SSEPoint) * count);
  for (int i = first; i < last; ++i) {
    t_htriangle& t = m.Triangles[i];
    for (int k = 0; k < 3; ++k) {
      t.pPoint[k] = m.EdgeArray + 3 * i + k;
      t.pNormal[k] = m.NormalArray + 3 * i + k;
      t.pNeighbour[k] = nullptr;
    }
    t.pT = m.TArray + i;
    t.pS = m.SArray + i;
    t.pV = m.VArray + i;
    t.pMainNormal = m.MainNormalArray + i;
    t.pMinPoint = m.MinPointArray + i;
    t.pMaxPoint = m.MaxPointArray + i;
    t.pNext = t.pPrev = nullptr;
    t.Index = i;
    t.Type = -1;
  }
}

void CHTriangulation::CreateTriangulation(int n) {
  relief::detail::AllocateTriangles(*this, n);
  relief::detail::ResetTriangles(*this, 0, n);
}

void CHTriangulation::FreeTriangulation() {
  SSEPoint** arrays[] = {&EdgeArray, &NormalArray, &MainNormalArray, &TArray,
                         &SArray,    &VArray,      &MinPointArray,   &MaxPointArray};
  for (SSEPoint** a : arrays) {
    SafeAlignedFree(*a);
    *a = nullptr;
  }
  SafeFree(Triangles);
  Triangles = nullptr;
  NumTriangles = 0;
}

// The conversions from the external mesh types and the two mesh-on-mesh
// operations are part of the interface but have no effect in this library.
void CHTriangulation::CutWithTriangulation(CHTriangulation*) {}
void CHTriangulation::MinimumZTriangulation(CHTriangulation*) {}
void CHTriangulation::CreateTriangulationFromNyTriangulation(NyTriangulationStatic*) {}
void CHTriangulation::CreateTriangulationFromNyTriangulation(NyTriangulationStatic*, CSSE3dPolygon*) {}
void CHTriangulation::CreateTriangulationFromNyTriangulation(NyTriangulationDynamic*) {}
void CHTriangulation::CreateTriangulationFromNyTriangulation(NyTriangulationDynamic*, CSSE3dPolygon*) {}
