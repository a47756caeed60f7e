// The viewer's page decoded independently: what the page carries must be the
// geometry it was given (merged, relative to an origin, indices packed), the
// markup must survive hostile names, and the page must stay small.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "relief/CHOctree.h"
#include "relief/CHTriangulation.h"
#include "relief/CHTriangulationDlg.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"

namespace {

// ---- an independent reader of the page's layer objects --------------------

// A key's value in a layer object: a string's text, an array's items, or a
// number as written (by hand: the arrays are too long for std::regex).
std::string Field(const std::string& layer, const std::string& key) {
  const std::string tag = "\"" + key + "\":";
  const std::size_t at = layer.find(tag);
  if (at == std::string::npos) return "";
  const std::size_t begin = at + tag.size();
  if (layer[begin] == '"') return layer.substr(begin + 1, layer.find('"', begin + 1) - begin - 1);
  if (layer[begin] == '[') return layer.substr(begin + 1, layer.find(']', begin) - begin - 1);
  return layer.substr(begin, layer.find_first_of(",}", begin) - begin);
}

std::vector<std::string> Layers(const std::string& html) {
  std::vector<std::string> layers;
  for (std::size_t at = html.find("{\"kind\":"); at != std::string::npos; at = html.find("{\"kind\":", at + 1)) {
    layers.push_back(html.substr(at, html.find("\"}", at) - at + 2));
  }
  return layers;
}

std::vector<unsigned char> FromBase64(const std::string& text) {
  static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<unsigned char> out;
  unsigned bits = 0, have = 0;
  for (char c : text) {
    const std::size_t value = alphabet.find(c);
    if (value == std::string::npos) break;
    bits = bits << 6 | unsigned(value);
    have += 6;
    if (have >= 8) out.push_back((bits >> (have -= 8)) & 255);
  }
  return out;
}

// The indices, each sent as the zigzag varint of its difference from the
// one before.
std::vector<long long> Indices(const std::string& layer) {
  const std::vector<unsigned char> bytes = FromBase64(Field(layer, "indices"));
  std::vector<long long> out;
  long long previous = 0;
  for (std::size_t i = 0; i < bytes.size();) {
    unsigned long long v = 0;
    // Seven bits a byte, low first, until a byte without the high bit.
    for (int shift = 0; shift == 0 || bytes[i - 1] & 128; shift += 7) v |= (bytes[i++] & 127ull) << shift;
    out.push_back(previous += (long long)(v >> 1) ^ -(long long)(v & 1));
  }
  return out;
}

using Corner = std::tuple<double, double, double>;

// The primitives' absolute corners, as the page would place them.
std::set<std::vector<Corner>> Primitives(const std::string& layer, int corners) {
  const std::vector<unsigned char> bytes = FromBase64(Field(layer, "positions"));
  std::vector<float> pos(bytes.size() / 4);
  std::memcpy(pos.data(), bytes.data(), pos.size() * 4);
  double origin[3];
  std::sscanf(Field(layer, "origin").c_str(), "%lf,%lf,%lf", &origin[0], &origin[1], &origin[2]);
  std::set<std::vector<Corner>> out;
  const std::vector<long long> index = Indices(layer);
  for (std::size_t i = 0; i + corners <= index.size(); i += corners) {
    std::vector<Corner> primitive;
    for (long long v : std::vector<long long>(index.begin() + i, index.begin() + i + corners))
      primitive.emplace_back(origin[0] + pos[3 * v], origin[1] + pos[3 * v + 1], origin[2] + pos[3 * v + 2]);
    out.insert(primitive);
  }
  return out;
}

void FieldWithHole(CSSEMatrix& field, int w, int h, float base) {
  field.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if ((x - w / 2) * (x - w / 2) + (y - h / 2) * (y - h / 2) > 2) field.SetPoint(x, y, base + 0.25f * x + 0.5f * y);
}

std::set<std::vector<Corner>> UsedTriangles(const CHTriangulation& mesh, double shift) {
  std::set<std::vector<Corner>> out;
  for (int t = 0; t < mesh.GetNumTriangles(); ++t) {
    const SSEPoint* p = mesh.GetEdgeArray() + 3 * t;
    if (p[0].x == p[1].x && p[1].x == p[2].x && p[0].y == p[1].y && p[1].y == p[2].y) continue;
    std::vector<Corner> c;
    for (int k = 0; k < 3; ++k) c.emplace_back(p[k].x + shift, p[k].y + shift, p[k].z);
    out.insert(c);
  }
  return out;
}

// ---- the tests ---------------------------------------------------------------

// The page must carry exactly the mesh's triangles, near the origin and far
// from it (where positions relative to the box keep every float's detail).
TEST(ViewerPage, MeshLayerDecodesToTheMeshsTriangles) {
  for (double offset : {0.0, 1.0e6}) {
    CSSEMatrix field;
    FieldWithHole(field, 9, 7, 100.0f);
    CHTriangulation mesh(&field, 0.0f, true, 1.0f, 1.0f, 1.0f);
    CHTriangulation moved(mesh);
    for (int i = 0; i < 3 * moved.GetNumTriangles(); ++i) {
      moved.GetEdgeArray()[i].x += float(offset);
      moved.GetEdgeArray()[i].y += float(offset);
    }
    CHTriangulationDlg view;
    view.AddTriangulation(moved, "mesh", 0x808080);
    const std::vector<std::string> layers = Layers(view.ToHtml());
    ASSERT_EQ(layers.size(), 1u);
    const std::set<std::vector<Corner>> shown = Primitives(layers[0], 3);
    EXPECT_EQ(shown, UsedTriangles(mesh, offset)) << "offset " << offset;
    EXPECT_EQ(Field(layers[0], "primitives"), std::to_string(shown.size()));
    // Corners shared by neighbouring triangles are sent once.
    std::set<Corner> corners;
    for (const auto& t : shown) corners.insert(t.begin(), t.end());
    EXPECT_EQ(std::stoul(Field(layers[0], "vertices")), corners.size());
  }
}

// A layer beyond the limit is decimated to it and says so; the page costs
// the inlined libraries plus at most 1.2 x the raw arrays (float32 positions
// and uint32 indices) of what it shows.
TEST(ViewerPage, LargeLayersAreDecimatedToTheLimitAndStayWithinTheSizeBudget) {
  CSSEMatrix field;
  FieldWithHole(field, 160, 120, 10.0f);
  CHTriangulation mesh(&field, 0.0f, true, 1.0f, 1.0f, 1.0f);
  CHTriangulationDlg empty, view;
  view.SetTriangleLimit(5000);
  view.AddTriangulation(mesh, "mesh", 0x808080);
  view.AddHeightField(field, "field", 0x808080);
  const std::vector<std::string> layers = Layers(view.ToHtml());
  ASSERT_EQ(layers.size(), 2u);
  for (const std::string& layer : layers) {
    EXPECT_NE(Field(layer, "note").find("decimated for display"), std::string::npos) << Field(layer, "kind");
  }
  EXPECT_LE(std::stoll(Field(layers[0], "shown")), 5000);
  EXPECT_GT(std::stoll(Field(layers[0], "shown")), 1000) << "decimation should keep a useful surface";
  const int stride = std::stoi(Field(layers[1], "stride"));
  const int cols = std::stoi(Field(layers[1], "cols")), rows = std::stoi(Field(layers[1], "rows"));
  EXPECT_EQ(cols, (160 + stride - 1) / stride);
  EXPECT_LE(2 * cols * rows, 5000);
  // The surface layer's values aside, the mesh layer's arrays.
  const double raw = 12.0 * (std::stod(Field(layers[0], "vertices")) + std::stod(Field(layers[0], "shown")));
  const double overhead = double(view.ToHtml().size() - empty.ToHtml().size() - layers[1].size());
  EXPECT_LE(overhead, 1.2 * raw) << "page data " << overhead << " bytes for " << raw << " bytes of arrays";
}

// Hostile layer names must not end the page's script blocks or its JSON.
TEST(ViewerPage, NamesCannotBreakTheMarkup) {
  CHTriangulationDlg view;
  view.SetTitle("<b>title</b> & \"quotes\"");
  CSSE3dPolygon square;
  square.Create(4);
  const float xy[4][2] = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
  for (int i = 0; i < 4; ++i) square.SetPoint(i, xy[i][0], xy[i][1], 1.0f);
  view.AddPolygon(square, "</script><script>alert(\"x\")</script>\n\\", 0xff0000);
  const std::string html = view.ToHtml();
  std::size_t closings = 0;
  for (std::size_t at = html.find("</script"); at != std::string::npos; at = html.find("</script", at + 1)) ++closings;
  EXPECT_EQ(closings, 5u) << "one per script block of the page, none from the name";
  EXPECT_NE(html.find("<h1>&lt;b&gt;title&lt;/b&gt; &amp; &quot;quotes&quot;</h1>"), std::string::npos);
  const std::vector<std::string> layers = Layers(html);
  ASSERT_EQ(layers.size(), 1u);
  EXPECT_EQ(Primitives(layers[0], 2).size(), 4u) << "a closed square has four sides";
}

// A Delaunay layer shows its edges, an empty octree its root brick, a field
// without data nothing; the page is written whole or not at all.
TEST(ViewerPage, OctreeDelaunayEmptyInputsAndWriting) {
  TaCIncrementalDelaunay2D delaunay(8);
  SSEPoint v{}, lo{}, hi{};
  for (int k = 0; k < 4; ++k) {  // a square's corners: two triangles, five edges
    v.x = k == 1 || k == 2 ? 10.0f : 0.0f, v.y = k >= 2 ? 10.0f : 0.0f;
    delaunay.AppendVertex(v);
  }
  delaunay.Triangulate(4, true, false);
  hi.x = hi.y = hi.z = 8;
  CHOctree octree(hi, lo, 1.0f);
  CHTriangulationDlg view;
  view.AddDelaunay(delaunay, "delaunay", 0xffffff);
  view.AddOctree(octree, "octree", 0xffffff);
  CSSEMatrix nothing;
  nothing.Create(5, 3);
  view.AddHeightField(nothing, "no data", 0xffffff);
  const std::vector<std::string> layers = Layers(view.ToHtml());
  ASSERT_EQ(layers.size(), 3u);
  EXPECT_EQ(Field(layers[0], "shown"), "5");
  EXPECT_EQ(Field(layers[1], "shown"), "12") << "an octree without entries shows its root brick";
  EXPECT_EQ(Field(layers[2], "primitives"), "0");
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "relief-viewer-folder";
  std::filesystem::create_directories(folder);
  EXPECT_FALSE(view.WriteHtml(folder));
  EXPECT_FALSE(std::filesystem::exists(folder.string() + ".part"));
  EXPECT_TRUE(view.WriteHtml(folder / "page.html"));
  EXPECT_GT(std::filesystem::file_size(folder / "page.html"), 100000u) << "the page inlines its rendering library";
  std::filesystem::remove_all(folder);
}

}  // namespace
