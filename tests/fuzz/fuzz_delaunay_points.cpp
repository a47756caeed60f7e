// Point sets decoded from the input, triangulated from the first three points
// and from the box, with the search structures and with the plain scans: the
// two must agree record for record and the validator must find nothing.
// Any finding aborts.
//
// Input: one header byte (start mode, coordinate offset), then five bytes per
// point: a pattern byte and two 16-bit values. The patterns favour what broke
// the triangulation before: coarse grids (repeats, collinear and co-circular
// points), points one unit in the last place from the previous one, points a
// hair off the line through two earlier ones, repeats of earlier points, and
// points on a circle. At most 200 points: the work per input stays small, so
// a run that does not end (libFuzzer's -timeout) is a finding too.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tests/triangulation/delaunay_test_support.h"
#include "tests/triangulation/delaunay_validator.h"

namespace {

struct Xy {
  float x, y;
};

// Coordinates whose squares underflow (nonzero and below 2^-63 in magnitude)
// lie outside the range in which the header says results hold.
bool InRange(const Xy& q) {
  const auto ok = [](float v) { return v == 0.0f || std::fabs(v) >= 0x1p-63f; };
  return ok(q.x) && ok(q.y);
}

std::vector<Xy> Decode(const std::uint8_t* data, std::size_t size, float offset) {
  std::vector<Xy> p;
  for (std::size_t at = 0; at + 5 <= size && p.size() < 200; at += 5) {
    const std::uint8_t kind = data[at];
    int16_t u, v;
    std::memcpy(&u, data + at + 1, 2);
    std::memcpy(&v, data + at + 3, 2);
    Xy q{};
    switch (kind % 8) {
      case 0:  // coarse grid
        q = {static_cast<int8_t>(u) * 0.5f, static_cast<int8_t>(v) * 0.5f};
        break;
      case 1:  // one unit in the last place from the previous point
        if (p.empty()) continue;
        q = p.back();
        if (u & 1) q.x = std::nextafter(q.x, (u & 2) ? INFINITY : -INFINITY);
        if (u & 4) q.y = std::nextafter(q.y, (u & 8) ? INFINITY : -INFINITY);
        if (InRange(q)) p.push_back(q);
        continue;
      case 2: {  // near the line through two earlier points
        if (p.size() < 2) continue;
        const Xy a = p[static_cast<std::size_t>(static_cast<uint16_t>(u) >> 8) % p.size()];
        const Xy b = p[static_cast<std::size_t>(static_cast<uint16_t>(u) & 0xff) % p.size()];
        const float t = static_cast<int8_t>(v) / 16.0f, off = static_cast<int8_t>(v >> 8) * 1e-4f;
        const float dx = b.x - a.x, dy = b.y - a.y;
        const Xy r{a.x + t * dx - off * dy, a.y + t * dy + off * dx};
        if (InRange(r)) p.push_back(r);
        continue;
      }
      case 3:  // fine
        q = {u / 64.0f, v / 64.0f};
        break;
      case 4:  // a repeat
        if (p.empty()) continue;
        p.push_back(p[static_cast<std::size_t>(static_cast<uint16_t>(u)) % p.size()]);
        continue;
      case 5: {  // on a circle
        const double a = u * (M_PI / 32768.0), r = 20.0 + (v & 0xff) / 8.0;
        q = {static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a))};
        break;
      }
      default:
        q = {u / 256.0f, v / 256.0f};
        break;
    }
    if (InRange({q.x + offset, q.y + offset})) p.push_back({q.x + offset, q.y + offset});
  }
  return p;
}

void Fail(const char* what, const std::string& why, const std::vector<Xy>& p) {
  std::fprintf(stderr, "%s: %s\npoints:\n", what, why.c_str());
  for (const Xy& q : p) std::fprintf(stderr, "%.9g %.9g\n", q.x, q.y);
  std::abort();
}

void Load(TaCIncrementalDelaunay2D& d, const std::vector<Xy>& p) {
  d.CreateVertexArray(static_cast<int>(p.size()) + 4);
  d.SetPlainScansBelow(0);  // the search structures even for a few points: they are under test
  for (const Xy& q : p) {
    SSEPoint s;
    s.m = _mm_setr_ps(q.x, q.y, 0.0f, 0.0f);
    d.AppendVertex(s);
  }
}

bool Collinear(const std::vector<Xy>& p) {
  for (std::size_t i = 2; i < p.size(); ++i)
    if (delaunay_validator::ExactOrientation(p[0].x, p[0].y, p[1].x, p[1].y, p[i].x, p[i].y) != 0) return false;
  return true;
}

// The first three points make a start triangle the orientation test calls
// clockwise both ways round: nearly collinear starts are kept, not rejected,
// and nothing valid grows from them.
bool DegenerateStart(TaCIncrementalDelaunay2D& d) {
  t_hdelaunaytriangle t{};
  for (int k = 0; k < 3; ++k) t.nVertex[k] = k;
  if (d.GetOrientation(&t) == 1) return false;
  TaCIncrementalDelaunay2D::FlipTriangleOrientation(&t);
  return d.GetOrientation(&t) == -1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  // Offsets stay inside the range in which the header promises Delaunay
  // quality (coordinates up to about 540); beyond it a point can be missed
  // by every float circle and stay out.
  static const float kOffsets[4] = {0.0f, 100.0f, 300.0f, 500.0f};
  const float offset = kOffsets[(data[0] >> 1) & 3];
  const std::vector<Xy> p = Decode(data + 1, size - 1, offset);
  if (p.size() < 3) return 0;
  const int n = static_cast<int>(p.size());
  for (const bool box : {false, true}) {
    TaCIncrementalDelaunay2D fast, plain;
    plain.SetReferenceScans(true);
    Load(fast, p);
    Load(plain, p);
    fast.Triangulate(n, true, box);
    plain.Triangulate(n, true, box);
    const long diff = delaunay_test::FirstDifference(delaunay_test::Snapshot(fast.GetFinalTriangleList()),
                                                     delaunay_test::Snapshot(plain.GetFinalTriangleList()));
    if (diff >= 0) Fail(box ? "box start" : "first-three start", "plain and fast differ at " + std::to_string(diff), p);
    if (Collinear(p) || (!box && DegenerateStart(fast))) continue;
    delaunay_validator::Options opt;
    opt.inputCount = n;
    opt.start = box ? opt.kBox : opt.kFirstThree;
    const std::string why = delaunay_validator::Validate(fast, fast.GetFinalTriangleList(), opt);
    if (!why.empty()) Fail(box ? "box start" : "first-three start", why, p);
  }
  return 0;
}
