// CHTriangulation: initialisation, allocation of the triangle arrays and release.

#include <cmath>
#include <cstring>

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

void CHTriangulation::CreateTriangulation(int n) {
  FreeTriangulation();
  if (n < 0) AfxThrowMemoryException();
  const std::size_t count = static_cast<std::size_t>(n);
  try {
    Triangles = static_cast<t_htriangle*>(SafeMalloc(sizeof(t_htriangle) * count));
    EdgeArray = AllocPoints(3 * count);
    NormalArray = AllocPoints(3 * count);
    MainNormalArray = AllocPoints(count);
    TArray = AllocPoints(count);
    SArray = AllocPoints(count);
    VArray = AllocPoints(count);
    MinPointArray = AllocPoints(count);
    MaxPointArray = AllocPoints(count);
  } catch (...) {
    // No half-built mesh: release whatever this call obtained.
    FreeTriangulation();
    throw;
  }
  NumTriangles = n;

  // The point arrays are cleared in bulk; the per-triangle extremes are left
  // as allocated because every builder is followed by CalcSTV.
  std::memset(static_cast<void*>(EdgeArray), 0, sizeof(SSEPoint) * 3 * count);
  std::memset(static_cast<void*>(NormalArray), 0, sizeof(SSEPoint) * 3 * count);
  std::memset(static_cast<void*>(MainNormalArray), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(TArray), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(SArray), 0, sizeof(SSEPoint) * count);
  std::memset(static_cast<void*>(VArray), 0, sizeof(SSEPoint) * count);
  for (int i = 0; i < n; ++i) {
    t_htriangle& t = Triangles[i];
    for (int k = 0; k < 3; ++k) {
      t.pPoint[k] = EdgeArray + 3 * i + k;
      t.pNormal[k] = NormalArray + 3 * i + k;
      t.pNeighbour[k] = nullptr;
    }
    t.pT = TArray + i;
    t.pS = SArray + i;
    t.pV = VArray + i;
    t.pMainNormal = MainNormalArray + i;
    t.pMinPoint = MinPointArray + i;
    t.pMaxPoint = MaxPointArray + i;
    t.pNext = t.pPrev = nullptr;
    t.Index = i;
    t.Type = -1;
  }
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
