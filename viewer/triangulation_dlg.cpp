// CHTriangulationDlg's page: the template with the inlined libraries, the
// page script and the layers' JSON put in at their markers.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <system_error>

#include "relief/CHTriangulationDlg.h"
#include "viewer/page_assets.h"
#include "viewer/page_encoding.h"
#include "viewer/viewer_layers.h"

using namespace relief::detail;

CHTriangulationDlg::CHTriangulationDlg() = default;
CHTriangulationDlg::~CHTriangulationDlg() = default;

void CHTriangulationDlg::SetTitle(const std::string& title) { m_title = title; }
void CHTriangulationDlg::SetTriangleLimit(std::int64_t triangles) { m_triangleLimit = std::max<std::int64_t>(triangles, 1000); }
std::int64_t CHTriangulationDlg::GetTriangleLimit() const { return m_triangleLimit; }
int CHTriangulationDlg::GetNumLayers() const { return int(m_layers.size()); }
void CHTriangulationDlg::Clear() { m_layers.clear(); }
void CHTriangulationDlg::SetLayerVisible(int layer, bool visible) {
  if (layer >= 0 && layer < GetNumLayers()) m_layers[std::size_t(layer)]->visible = visible;
}

namespace {

// The title goes into HTML text: escape what markup would read.
std::string HtmlText(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

}  // namespace

std::string CHTriangulationDlg::ToHtml() const {
  std::string data = "{\"title\":" + JsonString(m_title) + ",\"layers\":[";
  for (std::size_t i = 0; i < m_layers.size(); ++i) {
    // Each layer's JSON is a complete object; the visibility goes in before its closing brace.
    const std::string& json = m_layers[i]->json;
    data += (i ? "," : "") + json.substr(0, json.size() - 1) + ",\"visible\":" +
            (m_layers[i]->visible ? "true" : "false") + "}";
  }
  data += "]}";
  const std::pair<const char*, std::string_view> parts[] = {{"@TITLE@", {}},
                                                            {"@THREE@", ThreeJsSource()},
                                                            {"@CONTROLS@", OrbitControlsSource()},
                                                            {"@VIEWER@", PageScript()},
                                                            {"@DATA@", data}};
  const std::string title = HtmlText(m_title);
  const std::string_view page = PageTemplate();
  std::string html;
  html.reserve(page.size() + data.size() + ThreeJsSource().size() + OrbitControlsSource().size() +
               PageScript().size() + 64);
  std::size_t at = 0;
  while (at < page.size()) {
    const std::size_t marker = page.find('@', at);
    if (marker == std::string_view::npos) break;
    bool replaced = false;
    for (const auto& [name, text] : parts) {
      const std::string_view key(name);
      if (page.compare(marker, key.size(), key) != 0) continue;
      html.append(page.substr(at, marker - at));
      if (key == "@TITLE@")
        html += title;
      else
        html.append(text);
      at = marker + key.size();
      replaced = true;
      break;
    }
    if (!replaced) {
      html.append(page.substr(at, marker + 1 - at));
      at = marker + 1;
    }
  }
  html.append(page.substr(std::min(at, page.size())));
  return html;
}

bool CHTriangulationDlg::WriteHtml(const std::filesystem::path& file) const {
  std::filesystem::path temp = file;
  temp += ".part";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    const std::string html = ToHtml();
    out.write(html.data(), std::streamsize(html.size()));
    out.close();
    if (!out) {
      std::error_code ignored;
      std::filesystem::remove(temp, ignored);
      return false;
    }
  }
  std::error_code ec;
  std::filesystem::rename(temp, file, ec);
  if (ec) {
    std::filesystem::remove(temp, ec);
    return false;
  }
  return true;
}
