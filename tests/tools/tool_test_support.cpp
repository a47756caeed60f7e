#include "tool_test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "errors.h"
#include "io/raster_io.h"

namespace relief_test {

ToolRun RunTool(const std::string& args) {
  static int counter = 0;
  const std::string base = std::filesystem::temp_directory_path().string() + "/relief-tool-run-" +
                           std::to_string(::getpid()) + "-" + std::to_string(counter++);
  const int status = std::system((RELIEF_TOOL_PATH " " + args + " >" + base + ".out 2>" + base + ".err").c_str());
  ToolRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadBytes(base + ".out"), ReadBytes(base + ".err")};
  std::filesystem::remove(base + ".out");
  std::filesystem::remove(base + ".err");
  return run;
}

ScratchDir::ScratchDir(const std::string& name) {
  m_path = std::filesystem::temp_directory_path() / ("relief-tool-" + name + "-" + std::to_string(::getpid()));
  std::filesystem::remove_all(m_path);
  std::filesystem::create_directories(m_path);
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> ScratchDir::Files() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_path)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

Grid ReadGrid(const std::filesystem::path& path) {
  const auto m = relief::tool::ReadRaster(path);
  Grid g{m->GetSizeX(), m->GetSizeY(), {}};
  for (int y = 0; y < g.height; ++y)
    for (int x = 0; x < g.width; ++x) g.values.push_back(m->GetPoint(x, y));
  return g;
}

std::string NpyBytes(const std::string& descr, const std::string& shape, const std::string& data, bool fortran) {
  std::string header =
      "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") + ", 'shape': " + shape + ", }";
  while ((10 + header.size() + 1) % 16 != 0) header.push_back(' ');
  header.push_back('\n');
  return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size() & 0xff) +
         static_cast<char>(header.size() >> 8) + header + data;
}

void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::int64_t WriteTriangles(const std::filesystem::path& path, const std::vector<float>& corners) {
  auto writer = relief::tool::OpenTriangleWriter(path);
  for (size_t i = 0; i < corners.size(); i += 9) writer->Add(&corners[i]);
  writer->Commit();
  return writer->Count();
}

std::vector<float> ReadTriangles(relief::tool::TriangleReader& reader, int chunk) {
  std::vector<float> all;
  while (reader.Next(all, chunk)) {
  }
  EXPECT_EQ(static_cast<std::int64_t>(all.size() / 9), reader.Count());
  return all;
}

std::vector<float> ReadTriangles(const std::filesystem::path& path) {
  return ReadTriangles(*relief::tool::OpenTriangleReader(path));
}

Grid RandomField(int width, int height, std::uint32_t seed, float lo, float hi, double holeFraction) {
  std::mt19937 random(seed);
  Grid g;
  g.width = width;
  g.height = height;
  g.values.resize(static_cast<size_t>(width) * height);
  for (float& v : g.values) {
    const double u = random() / 4294967296.0, w = random() / 4294967296.0;
    v = u < holeFraction ? 0.0f : static_cast<float>(lo + (hi - lo) * w);
  }
  return g;
}

Grid FieldOf(int width, int height, float (*z)(int x, int y)) {
  Grid g{width, height, {}};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) g.values.push_back(z(x, y));
  return g;
}

Grid Plane(int width, int height) {
  return FieldOf(width, height, [](int x, int y) { return 10.0f + 0.5f * float(x) + 0.25f * float(y); });
}

void WriteField(const std::filesystem::path& path, const Grid& g) {
  const std::string shape = "(" + std::to_string(g.height) + ", " + std::to_string(g.width) + ")";
  WriteBytes(path,
             NpyBytes("<f4", shape, std::string(reinterpret_cast<const char*>(g.values.data()), 4 * g.values.size())));
}

std::string Quote(const std::filesystem::path& path) { return "'" + path.string() + "'"; }

CSSEMatrix ToMatrix(const Grid& g) {
  CSSEMatrix m;
  m.Create(g.width, g.height);
  for (int y = 0; y < g.height; ++y)
    for (int x = 0; x < g.width; ++x) m.SetPoint(x, y, g.at(x, y));
  return m;
}

void ExpectBadInput(const std::function<void()>& load, std::initializer_list<std::string> mentions) {
  try {
    load();
    ADD_FAILURE() << "accepted: " << *mentions.begin();
  } catch (const relief::tool::ToolError& e) {
    EXPECT_EQ(e.ExitCode(), relief::tool::kExitBadInput) << e.what();
    for (const std::string& mention : mentions)
      EXPECT_NE(std::string(e.what()).find(mention), std::string::npos) << "no \"" << mention << "\" in: " << e.what();
  }
}

}  // namespace relief_test
