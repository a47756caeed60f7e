// Construction, positioning and release of the complete octree.

#include <cmath>
#include <cstring>

#include "relief/CHOctree.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEFns.h"
#include "relief/MessageBox.h"
#include "relief/SafeMemory.h"

CHOctree::CHOctree(SSEPoint& maxPoint, SSEPoint& minPoint, float minBrickSize) {
  std::memset(Level, 0, sizeof Level);
  std::memset(LevelCount, 0, sizeof LevelCount);
  // w takes part in the largest side; geometric points carry w = 0.
  CSSEFns::max_of_m128(_mm_sub_ps(maxPoint.m, minPoint.m), &Extent);
  MinX = minPoint.x;
  MaxX = maxPoint.x;
  MinY = minPoint.y;
  MaxY = maxPoint.y;
  MinZ = minPoint.z;
  MaxZ = maxPoint.z;
  MinBrickSize = minBrickSize;

  const float ratio = Extent / minBrickSize;
  const double levels = std::log(static_cast<double>(ratio)) / std::log(2.0) + 0.5;
  // NaN and negative quotients give no level; the cap only matters for the
  // guard below, which refuses anything deeper than kMaxLevels before any
  // brick is allocated.
  NumLevels = levels >= 1.0 ? static_cast<int>(levels < 99.0 ? levels : 99.0) : 0;
  if (NumLevels > kMaxLevels) {
    NumLevels = 0;
    AfxThrowMemoryException();
  }

  try {
    std::int64_t count = 1;
    for (int k = 0; k < NumLevels; ++k, count *= 8) {
      Level[k] = static_cast<t_hoctreeelement*>(
          SafeAlignedAlloc(static_cast<std::size_t>(count) * sizeof(t_hoctreeelement), 16));
      std::memset(static_cast<void*>(Level[k]), 0, static_cast<std::size_t>(count) * sizeof(t_hoctreeelement));
      LevelCount[k] = static_cast<std::int32_t>(count);
      NumBricks += LevelCount[k];
      // Every brick of level k is half of a level k-1 brick: half edge Extent 0.5^(k+1).
      const float half = Extent * static_cast<float>(std::ldexp(1.0, -(k + 1)));
      for (std::int64_t j = 0; j < count; ++j) {
        Level[k][j].Level = k;
        Level[k][j].HalfSize = half;
      }
    }
  } catch (const std::bad_alloc&) {
    // Nothing else is held yet: the tail table is allocated after the levels.
    for (t_hoctreeelement*& level : Level) {
      SafeAlignedFree(level);
      level = nullptr;
    }
    NumLevels = 0;
    throw;
  }

  for (int k = 0; k + 1 < NumLevels; ++k) {
    for (std::int32_t j = 0; j < LevelCount[k]; ++j) {
      t_hoctreeelement& brick = Level[k][j];
      for (int i = 0; i < 8; ++i) {
        brick.pChild[i] = &Level[k + 1][8 * j + i];
        brick.pChild[i]->pParent = &brick;
      }
    }
  }
  m_pTails = static_cast<t_hoctreeentryblock**>(
      SafeCalloc(static_cast<std::size_t>(NumBricks) * 4 + 1, sizeof(t_hoctreeentryblock*)));
  pRoot = NumLevels > 0 ? Level[0] : nullptr;
  if (pRoot) {
    SSEPoint centre;
    centre.m = _mm_mul_ps(_mm_add_ps(maxPoint.m, minPoint.m), _mm_set1_ps(0.5f));
    PositionReferenceOctree(pRoot, &centre);
  }
  ShowMessageBox("OctreeCreated");
}

CHOctree::CHOctree(CHOctree*, bool) {}

CHOctree::~CHOctree() {
  for (int k = 0; k < NumLevels; ++k) {
    for (std::int32_t j = 0; j < LevelCount[k]; ++j) RemoveAllEntriesFromOctreeElement(&Level[k][j]);
    // Releasing the bricks too: nothing else owns them, and an octree of a
    // few levels holds megabytes.
    SafeAlignedFree(Level[k]);
    Level[k] = nullptr;
  }
  NumLevels = 0;
  SafeFree(m_pTails);
  m_pTails = nullptr;
}

void CHOctree::DuplicateOctree(CHOctree*) {}
void CHOctree::ReduceToConvenientSize(CHOctree*) {}

void CHOctree::ClearEntry(t_hoctreeelement& element) {
  for (int list = 0; list < 4; ++list) {
    if (t_hoctreeentryblock** tail = TailSlot(&element, list)) *tail = nullptr;
  }
  std::memset(static_cast<void*>(&element), 0, sizeof element);
}

void CHOctree::PositionReferenceOctree(t_hoctreeelement* element, SSEPoint* center) {
  if (!element || !center) return;
  element->Center = *center;
  const __m128 half = _mm_set_ps(0.0f, element->HalfSize, element->HalfSize, element->HalfSize);
  element->MaxCorner.m = _mm_add_ps(center->m, half);
  element->MinCorner.m = _mm_sub_ps(center->m, half);
  const float quarter = element->HalfSize * 0.5f;
  for (int i = 0; i < 8; ++i) {
    SSEPoint c = *center;
    c.x += (i & 1) ? quarter : -quarter;
    c.y += (i & 2) ? quarter : -quarter;
    c.z += (i & 4) ? quarter : -quarter;
    PositionReferenceOctree(element->pChild[i], &c);
  }
}
