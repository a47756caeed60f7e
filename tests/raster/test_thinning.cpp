// ZhangSuen against a per-pixel reference, and the rule's deliberate details.

#include "raster_compare.h"

using namespace relief::test;

namespace {

// The thinning written as plainly as possible: int images, clamped reads,
// one pixel at a time, the frame and padding lanes end 0. A pixel needs at
// least three neighbours to go (with two, the textbook rule, an L erodes).
void NaiveZhangSuen(CSSEMatrix& m, float threshold) {
  const int sx = m.GetSizeX(), sy = m.GetSizeY();
  std::vector<int> image(static_cast<std::size_t>(sx) * sy), marks(image.size());
  auto at = [&](std::vector<int>& v, int x, int y) -> int& {
    return v[static_cast<std::size_t>(std::clamp(y, 0, sy - 1)) * sx + std::clamp(x, 0, sx - 1)];
  };
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) at(image, x, y) = m.GetPoint(x, y) > threshold ? 1 : 0;
  auto deletable = [&](int x, int y, bool first) {
    const int p[9] = {at(image, x, y - 1),     at(image, x + 1, y - 1), at(image, x + 1, y),
                      at(image, x + 1, y + 1), at(image, x, y + 1),     at(image, x - 1, y + 1),
                      at(image, x - 1, y),     at(image, x - 1, y - 1), at(image, x, y - 1)};
    int b = 0, a = 0;
    for (int i = 0; i < 8; ++i) b += p[i], a += p[i] == 0 && p[i + 1] == 1;
    const int p2 = p[0], p4 = p[2], p6 = p[4], p8 = p[6];
    const bool rule = first ? (p2 * p4 * p6 == 0 && p4 * p6 * p8 == 0) : (p2 * p4 * p8 == 0 && p2 * p6 * p8 == 0);
    return at(image, x, y) && b >= 3 && b <= 6 && a == 1 && rule;
  };
  // One sub-iteration: mark, then delete; false when nothing was deleted.
  auto pass = [&](bool first) {
    for (int y = 1; y <= sy - 2; ++y)
      for (int x = 1; x <= sx - 2; ++x) at(marks, x, y) = deletable(x, y, first);
    bool any = false;
    for (std::size_t i = 0; i < image.size(); ++i)
      if (marks[i]) image[i] = marks[i] = 0, any = true;
    return any;
  };
  while (pass(true) && pass(false)) continue;
  m.Clear();
  for (int y = 1; y <= sy - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x)
      if (at(image, x, y)) m.SetPoint(x, y, 1.0f);
}

// The word-parallel thinning against the per-pixel one on blobs and on noise
// (padding lanes included, which must be ignored as input and end 0; pixels
// at the threshold itself are background), with sizes that straddle the
// 64-pixel words and the 4-row registers.
TEST(ZhangSuen, MatchesPerPixelReferenceOnRandomMasks) {
  const int sizes[][2] = {{1, 1},   {3, 3},   {4, 2},   {1, 3},    {5, 7},    {6, 5},    {63, 9},
                          {64, 17}, {65, 31}, {129, 5}, {31, 129}, {127, 63}, {200, 77}, {3, 200}};
  for (unsigned seed = 1; seed <= 6; ++seed)
    for (const auto& size : sizes) {
      std::mt19937 rng(seed * 7919u + size[0] * 31u + size[1]);
      CSSEMatrix m = RandomRaster(size[0], size[1], rng, WithSpecials(0, 1));
      if (seed % 2) {  // thick blobs: discs of radius up to 12 hold 2
        m.Fill(0.0f);
        for (int i = 0; i <= size[0] * size[1] / 300; ++i) {
          const int cx = int(rng() % size[0]), cy = int(rng() % size[1]), r = 1 + int(rng() % 12);
          for (int y = std::max(0, cy - r); y <= std::min(size[1] - 1, cy + r); ++y)
            for (int x = std::max(0, cx - r); x <= std::min(size[0] - 1, cx + r); ++x)
              if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) m.SetPoint(x, y, 2.0f);
        }
      }
      CSSEMatrix expected(m);
      const float threshold = seed % 2 ? 1.0f : 0.5f;
      m.ZhangSuen(threshold);
      NaiveZhangSuen(expected, threshold);
      ASSERT_TRUE(SameStorage(m, expected)) << "seed " << seed << ", size " << size[0] << " x " << size[1];
    }
}

}  // namespace
