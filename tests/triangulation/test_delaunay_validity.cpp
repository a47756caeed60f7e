// The validator on seeded adversarial point sets and on the kept inputs of
// tests/fixtures/delaunay, in every start mode, with the search structures
// and with the plain scans (which must also agree record for record).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "delaunay_adversarial.h"
#include "delaunay_predicates.h"
#include "delaunay_test_support.h"
#include "delaunay_validator.h"
#include "fixture_folder.h"

namespace {

using delaunay_adversarial::Kind;
using delaunay_adversarial::P;
using delaunay_test::DegenerateStart;
using delaunay_test::Load;

bool AllCollinear(const std::vector<P>& pts) {
  for (std::size_t i = 2; i < pts.size(); ++i)
    if (delaunay_validator::ExactOrientation(pts[0].x, pts[0].y, pts[1].x, pts[1].y, pts[i].x, pts[i].y) != 0)
      return false;
  return true;
}

// Triangulates the points both ways (box start or the first three points),
// checks that the two ways agree and validates the result.
testing::AssertionResult TriangulatesValidly(const std::vector<P>& pts, bool box) {
  TaCIncrementalDelaunay2D plain, fast;
  plain.SetReferenceScans(true);
  Load(plain, pts, 4);
  Load(fast, pts, 4);
  const int n = static_cast<int>(pts.size());
  plain.Triangulate(n, true, box);
  fast.Triangulate(n, true, box);
  if (auto same = delaunay_test::SameRecords(delaunay_test::Snapshot(fast.GetFinalTriangleList()),
                                             delaunay_test::Snapshot(plain.GetFinalTriangleList()));
      !same)
    return testing::AssertionFailure() << "search structures differ from the plain scans: " << same.message();
  // A degenerate start leaves no valid triangle to stand on, and all points on
  // one line none either (the box start's corners coincide with input points):
  // only termination and the agreement of the two search paths count there.
  if ((!box && DegenerateStart(pts)) || AllCollinear(pts)) return testing::AssertionSuccess();
  delaunay_validator::Options opt;
  opt.inputCount = n;
  opt.start = box ? opt.kBox : opt.kFirstThree;
  return relief_test::NoViolation(delaunay_validator::Validate(fast, fast.GetFinalTriangleList(), opt));
}

const char* Name(bool box) { return box ? "box" : "first-three"; }

class DelaunayAdversarial : public ::testing::TestWithParam<Kind> {};

TEST_P(DelaunayAdversarial, EverySeededSetIsAValidDelaunayTriangulation) {
  const Kind kind = GetParam();
  for (uint32_t seed = 1; seed <= 6; ++seed)
    for (int n : {3, 5, 7, 17, 31, 129, 600})
      for (bool start : {false, true}) {
        const std::vector<P> pts = delaunay_adversarial::Make(kind, n, seed);
        EXPECT_TRUE(TriangulatesValidly(pts, start))
            << delaunay_adversarial::Name(kind) << ", seed " << seed << ", n " << n << ", " << Name(start) << " start";
      }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DelaunayAdversarial,
                         ::testing::Values(Kind::kUniform, Kind::kNearCollinearRuns, Kind::kCocircularGrid,
                                           Kind::kUlpPairs, Kind::kClustered, Kind::kConvexArc, Kind::kFarFromOrigin,
                                           Kind::kCollinearStart, Kind::kOutline),
                         [](const auto& i) { return std::string(delaunay_adversarial::Name(i.param)); });

// A dense outline of about 1,700 points with long near-collinear runs, as
// real map outlines are.
TEST(DelaunayAdversarialLarge, DenseOutline) {
  for (uint32_t seed : {1u, 2u, 3u})
    for (bool start : {false, true})
      EXPECT_TRUE(TriangulatesValidly(delaunay_adversarial::Make(Kind::kOutline, 1700, seed), start))
          << "seed " << seed << ", " << Name(start) << " start";
}

// ---- kept inputs ----------------------------------------------------------------

// A fixture is a text file of "x y" lines (floats; '#' starts a comment),
// every one an input that once broke the triangulation.
std::vector<P> ReadFixture(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::vector<P> pts;
  std::string line;
  while (std::getline(in, line)) {
    if (const auto hash = line.find('#'); hash != std::string::npos) line.erase(hash);
    std::istringstream s(line);
    P p;
    if (s >> p.x >> p.y) pts.push_back(p);
  }
  return pts;
}

TEST(DelaunayFixtures, EveryKeptInputTriangulatesValidly) {
  const std::filesystem::path folder = relief_test::FixtureFolder("delaunay");
  ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder << " (set RELIEF_SOURCE_DIR)";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".txt") continue;
    ++files;
    const std::vector<P> pts = ReadFixture(entry.path());
    ASSERT_GE(pts.size(), 3u) << entry.path();
    for (bool start : {false, true})
      EXPECT_TRUE(TriangulatesValidly(pts, start)) << entry.path().filename() << ", " << Name(start) << " start";
  }
  EXPECT_GT(files, 0);
}

}  // namespace
