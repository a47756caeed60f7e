// Differential fuzzing of the 2D hull's block-wise sort: point sets built
// from the input (a motif of small integer points, copied as exact repeats,
// as multiples along rays from the origin or as shifted copies, so that
// coincident and collinear pairs are common; 256 points or more, where the
// block-wise sort runs) are sorted both ways; any difference in the kept
// points, their order and flags, the deletion count or the hull aborts.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "relief/CHConvexHull2D.h"
#include "relief/CSSE2dPolygon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FILE* quiet = std::freopen("/dev/null", "w", stdout);  // the hull prints its steps
  (void)quiet;
  if (size < 8) return 0;
  const int motif = static_cast<int>((size - 2) / 2);
  if (motif > 200) return 0;
  const int copies = 2 + (256 + data[1] * 4) / motif;
  const float scales[4] = {1.0f, 0.001f, 0.03f, 50.0f};
  const float scale = scales[data[0] & 3];
  const int kind = (data[0] >> 2) & 3;
  const int n = motif * copies;
  CSSE2dPolygon poly;
  poly.Create(n);
  for (int c = 0, i = 0; c < copies; ++c)
    for (int m = 0; m < motif; ++m, ++i) {
      float x = static_cast<int8_t>(data[2 + 2 * m]) * scale, y = static_cast<int8_t>(data[3 + 2 * m]) * scale;
      if (kind == 1) x *= 1 + c, y *= 1 + c;                // along rays from the origin
      if (kind == 2) x += c * scale, y += (c % 3) * scale;  // shifted copies
      if (kind == 3) x += (c % 2) * 0.0003f;                // within the tolerance
      poly.SetPoint(i, x, y);
    }
  const CHConvexHull2D fast(&poly), plain(&poly, true);
  if (fast.GetNumPoints() != plain.GetNumPoints() || fast.GetNumDeleted() != plain.GetNumDeleted()) std::abort();
  for (int i = 0; i < plain.GetNumPoints(); ++i) {
    const tPointStruc &a = fast.GetPoints()[i], &b = plain.GetPoints()[i];
    if (a.vnum != b.vnum || std::memcmp(&a.x, &b.x, 3 * sizeof(float)) != 0 || a.del != b.del) std::abort();
  }
  const tStackCell *a = fast.GetStackTop(), *b = plain.GetStackTop();
  for (; a && b; a = a->next, b = b->next)
    if (a->p->vnum != b->p->vnum) std::abort();
  if (a || b) std::abort();
  return 0;
}
