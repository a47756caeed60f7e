#include "relief/CHErrorBoundedMesher.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "mesh/error_bounded_field.h"
#include "mesh/error_bounded_halfedges.h"
#include "mesh/error_bounded_heap.h"
#include "mesh/error_bounded_scan.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

using relief::detail::CHalfEdgeTriangulation;
using relief::detail::SFieldView;
using relief::detail::SScanTriangle;

struct CHErrorBoundedMesher::Result {
  std::string problem;
  std::vector<float> vertices;
  std::vector<std::int32_t> indices;
  int originX = 0, originY = 0;
  double maxError = 0.0, rmsError = 0.0;
  std::int64_t validPixels = 0, insertions = 0;
  bool stoppedByLimit = false;
  bool rmsPending = false;  // the RMS error is measured when first asked for
  void Clear() {
    rmsPending = false;
    problem.clear();
    vertices.clear();
    indices.clear();
    originX = originY = 0;
    maxError = rmsError = 0.0;
    validPixels = insertions = 0;
    stoppedByLimit = false;
  }
};

namespace {

// Half-edge indices are int32: 3 x triangles must stay below 2^31.
constexpr int kMostTriangles = 700'000'000;

SScanTriangle TriangleOf(const CHalfEdgeTriangulation& mesh, int t) {
  SScanTriangle s;
  for (int k = 0; k < 3; ++k) {
    const int p = mesh.Corner(t, k);
    s.x[k] = mesh.X(p);
    s.y[k] = mesh.Y(p);
    s.z[k] = mesh.Z(p);
  }
  return s;
}

// The greedy loop's per-triangle state, indexed by triangle.
struct STriangleState {
  void Clear() {
    candX.clear();
    candY.clear();
    error.clear();
    coversData.clear();
    stamp.clear();
  }
  std::vector<std::int32_t> candX, candY;  // worst pixel
  std::vector<double> error;                // exact worst error at the last scan
  std::vector<std::uint8_t> coversData;
  std::vector<std::uint32_t> stamp;  // last insertion that rescanned it
  void Grow(int n) {
    if (static_cast<int>(candX.size()) >= n) return;
    const size_t size = static_cast<size_t>(n) + static_cast<size_t>(n) / 2;
    candX.resize(size, -1);
    candY.resize(size, -1);
    error.resize(size, 0.0);
    coversData.resize(size, 0);
    stamp.resize(size, 0);
  }
};

}  // namespace

// Working memory, kept between calls so that meshing many fields of one size
// allocates (and faults in) nothing after the first.
struct CHErrorBoundedMesher::Workspace {
  std::vector<float> pixels, errors;
  CHalfEdgeTriangulation mesh;
  relief::detail::CTriangleHeap heap;
  STriangleState state;
  std::vector<relief::detail::SScannedRow> scratch;
  std::vector<std::int32_t> changed, renumber;
  std::vector<std::uint8_t> kept, reached;
  SFieldView view;  // over pixels, for the RMS measured on demand
};

CHErrorBoundedMesher::CHErrorBoundedMesher()
    : m_result(std::make_unique<Result>()), m_work(std::make_unique<Workspace>()) {}
CHErrorBoundedMesher::~CHErrorBoundedMesher() = default;

bool CHErrorBoundedMesher::CreateMeshFromSSEField(const CSSEMatrix* field, float maxError, int maxTriangles,
                                                  int maxPoints) {
  Result& r = *m_result;
  r.Clear();
  Workspace& w = *m_work;
  auto fail = [&r](const char* why) {
    r.problem = why;
    return false;
  };
  if (!field || !field->GetMatrixDataDirectly()) return fail("the field has no storage");
  if (!std::isfinite(maxError) || maxError < 0.0f) return fail("the maximum error must be finite and not negative");
  if (maxTriangles < 2 || maxPoints < 4)
    return fail("the limits must allow the starting two triangles (at least 2 triangles and 4 points)");

  const relief::detail::SValidBox box = relief::detail::FindValidBox(*field);
  r.validPixels = box.validPixels;
  if (box.validPixels == 0) return fail("the field holds no data");
  if (box.Width() < 2 || box.Height() < 2) return fail("the valid pixels do not span an area (one row or column)");
  r.originX = box.minX;
  r.originY = box.minY;

  std::vector<float>& pixels = w.pixels;
  relief::detail::CopyBox(*field, box, pixels);
  const int width = box.Width(), height = box.Height();
  SFieldView view{pixels.data(), width, height, 0.0};
  for (const float v : pixels) view.largestHeight = std::max(view.largestHeight, std::fabs(double(v)));
  auto height_at = [&](int x, int y) { return pixels[static_cast<size_t>(y) * width + x]; };

  float corners[4];
  const int cornerX[4] = {0, width - 1, width - 1, 0}, cornerY[4] = {0, 0, height - 1, height - 1};
  for (int c = 0; c < 4; ++c) {
    corners[c] = height_at(cornerX[c], cornerY[c]);
    if (corners[c] == 0.0f)
      corners[c] = relief::detail::NearestDataHeight(pixels, width, height, cornerX[c], cornerY[c]);
  }

  // Points 0 to 3 are the box corners; every later point is a valid pixel.
  bool cornerHasData[4];
  for (int c = 0; c < 4; ++c) cornerHasData[c] = height_at(cornerX[c], cornerY[c]) != 0.0f;
  auto has_data = [&cornerHasData](int p) { return p >= 4 || cornerHasData[p]; };
  CHalfEdgeTriangulation& mesh = w.mesh;
  mesh.StartWithBox(width, height, corners);
  relief::detail::CTriangleHeap& heap = w.heap;
  heap.Clear();
  STriangleState& state = w.state;
  state.Clear();
  const double bound = maxError;
  const int triangleLimit = std::min(maxTriangles, kMostTriangles);

  std::uint32_t round = 1;
  std::vector<relief::detail::SScannedRow>& scratch = w.scratch;
  auto rescan = [&](int t) {
    if (state.stamp[t] == round) return;
    state.stamp[t] = round;
    const relief::detail::STriangleScanResult s = relief::detail::ScanTriangle(view, TriangleOf(mesh, t), scratch);
    state.error[t] = s.error;
    state.candX[t] = s.x;
    state.candY[t] = s.y;
    state.coversData[t] = s.coversData ? 1 : 0;
    // A box corner without data stays out of the result only once none of
    // its triangles covers data: those go first, split at the valid pixel
    // nearest to the corner, which walks points onto the outline.
    int emptyCorners = 0;
    for (int k = 0; k < 3; ++k) emptyCorners |= has_data(mesh.Corner(t, k)) ? 0 : 1 << k;
    if (emptyCorners && s.coversData &&
        relief::detail::NearestDataPixel(view, TriangleOf(mesh, t), emptyCorners, state.candX[t], state.candY[t]))
      heap.Set(t, std::numeric_limits<double>::infinity());
    else if (s.error > bound) heap.Set(t, s.error);
    else heap.Remove(t);
  };
  state.Grow(2);
  rescan(0);
  rescan(1);

  std::vector<std::int32_t>& changed = w.changed;
  while (!heap.Empty()) {
    const int t = heap.Top();
    const int x = state.candX[t], y = state.candY[t];
    const int where = mesh.Locate(t, x, y);
    if (mesh.NumTriangles() + mesh.TrianglesAddedBy(t, where) > triangleLimit || mesh.NumPoints() + 1 > maxPoints) {
      r.stoppedByLimit = true;
      break;
    }
    changed.clear();
    mesh.Insert(t, where, x, y, height_at(x, y), changed);
    ++r.insertions;
    ++round;
    state.Grow(mesh.NumTriangles());
    for (const std::int32_t c : changed) rescan(c);
  }

  // The result: triangles over data, their points renumbered in order of use.
  std::vector<std::int32_t>& renumber = w.renumber;
  renumber.assign(static_cast<size_t>(mesh.NumPoints()), -1);
  // Kept: triangles with three valid corners, or covering data beyond their
  // corners; then, for a valid point that no kept triangle reaches, the
  // first of its triangles, so that its pixel is covered too.
  std::vector<std::uint8_t>& kept = w.kept;
  kept.assign(static_cast<size_t>(mesh.NumTriangles()), 0);
  std::vector<std::uint8_t>& reached = w.reached;
  reached.assign(static_cast<size_t>(mesh.NumPoints()), 0);
  for (int t = 0; t < mesh.NumTriangles(); ++t) {
    kept[t] = state.coversData[t] || (has_data(mesh.Corner(t, 0)) && has_data(mesh.Corner(t, 1)) &&
                                      has_data(mesh.Corner(t, 2)));
    if (kept[t])
      for (int k = 0; k < 3; ++k) reached[mesh.Corner(t, k)] = 1;
  }
  for (int t = 0; t < mesh.NumTriangles(); ++t) {
    if (kept[t]) continue;
    for (int k = 0; k < 3; ++k) {
      const int p = mesh.Corner(t, k);
      if (has_data(p) && !reached[p]) kept[t] = 1;
    }
    if (kept[t])
      for (int k = 0; k < 3; ++k) reached[mesh.Corner(t, k)] = 1;
  }
  for (int t = 0; t < mesh.NumTriangles(); ++t) {
    if (!kept[t]) continue;
    for (int k = 0; k < 3; ++k) {
      const int p = mesh.Corner(t, k);
      if (renumber[p] < 0) {
        renumber[p] = static_cast<std::int32_t>(r.vertices.size() / 3);
        r.vertices.push_back(static_cast<float>(mesh.X(p)));
        r.vertices.push_back(static_cast<float>(mesh.Y(p)));
        r.vertices.push_back(mesh.Z(p));
      }
      r.indices.push_back(renumber[p]);
    }
    r.maxError = std::max(r.maxError, state.error[t]);
  }
  w.view = view;
  r.rmsPending = true;
  return true;
}

const char* CHErrorBoundedMesher::GetProblem() const { return m_result->problem.c_str(); }
int CHErrorBoundedMesher::GetNumTriangles() const { return static_cast<int>(m_result->indices.size() / 3); }
int CHErrorBoundedMesher::GetNumPoints() const { return static_cast<int>(m_result->vertices.size() / 3); }
const float* CHErrorBoundedMesher::GetVertexArray() const { return m_result->vertices.data(); }
const std::int32_t* CHErrorBoundedMesher::GetTriangleIndexArray() const { return m_result->indices.data(); }
int CHErrorBoundedMesher::GetOriginX() const { return m_result->originX; }
int CHErrorBoundedMesher::GetOriginY() const { return m_result->originY; }
double CHErrorBoundedMesher::GetMaxError() const { return m_result->maxError; }
double CHErrorBoundedMesher::GetRMSError() const {
  Result& r = *m_result;
  if (!r.rmsPending) return r.rmsError;
  // Every kept triangle's pixels' errors into one buffer (a pixel on a
  // shared edge gets the same figure twice, up to rounding), then the mean
  // of the squares over the valid pixels, each once.
  Workspace& w = *m_work;
  w.errors.assign(w.pixels.size(), 0.0f);
  const std::int32_t* idx = r.indices.data();
  const float* v = r.vertices.data();
  for (size_t t = 0; t < r.indices.size(); t += 3) {
    SScanTriangle s;
    for (int k = 0; k < 3; ++k) {
      s.x[k] = static_cast<int>(v[3 * idx[t + k]]);
      s.y[k] = static_cast<int>(v[3 * idx[t + k] + 1]);
      s.z[k] = v[3 * idx[t + k] + 2];
    }
    relief::detail::MeasureTriangle(w.view, s, w.errors.data());
  }
  double sumSquares = 0.0;
  std::int64_t measured = 0;
  for (size_t i = 0; i < w.pixels.size(); ++i) {
    if (w.pixels[i] == 0.0f) continue;
    sumSquares += double(w.errors[i]) * w.errors[i];
    ++measured;
  }
  r.rmsError = measured > 0 ? std::sqrt(sumSquares / static_cast<double>(measured)) : 0.0;
  r.rmsPending = false;
  return r.rmsError;
}
std::int64_t CHErrorBoundedMesher::GetNumValidPixels() const { return m_result->validPixels; }
std::int64_t CHErrorBoundedMesher::GetNumInsertions() const { return m_result->insertions; }
bool CHErrorBoundedMesher::StoppedByLimit() const { return m_result->stoppedByLimit; }

void CHErrorBoundedMesher::FillTriangulation(CHTriangulation& mesh, float sx, float sy, float sz) const {
  const int n = GetNumTriangles();
  mesh.CreateTriangulation(n);
  SSEPoint* corners = mesh.GetEdgeArray();
  const float* v = m_result->vertices.data();
  for (int i = 0; i < 3 * n; ++i) {
    const std::int32_t p = m_result->indices[i];
    corners[i].x = v[3 * p];
    corners[i].y = v[3 * p + 1];
    corners[i].z = v[3 * p + 2];
    corners[i].w = 0.0f;
  }
  mesh.ReScaleTriangulation(sx, sy, sz);
  if (n > 0) mesh.CalcNormalsFromVertices();
}
