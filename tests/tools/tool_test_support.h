#pragma once

// Shared by the tool's tests: running the built executable, scratch folders,
// and small independent readers/writers that do not go through the tool's own
// format code (so a bug there cannot hide itself).

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "io/mesh_io.h"
#include "relief/CSSEMatrix.h"

namespace relief_test {

struct ToolRun {
  int exitCode = -1;
  std::string out, err;
};

// Runs `relief ARGS` (args are passed to the shell as they are) with stdout
// and stderr captured to files.
ToolRun RunTool(const std::string& args);

// A fresh, empty folder under the system temp folder, removed on destruction.
class ScratchDir {
 public:
  explicit ScratchDir(const std::string& name);
  ~ScratchDir();
  const std::filesystem::path& Path() const { return m_path; }
  std::filesystem::path operator/(const std::string& file) const { return m_path / file; }
  // Names of the files in the folder, sorted.
  std::vector<std::string> Files() const;

 private:
  std::filesystem::path m_path;
};

struct Grid {
  int width = 0, height = 0;
  std::vector<float> values;  // row-major
  float at(int x, int y) const { return values[static_cast<size_t>(y) * width + x]; }
};

// Any raster the tool reads, as a grid; NpyBytes gives a whole .npy file
// with any descr and shape text, e.g. "(3, 4)".
Grid ReadGrid(const std::filesystem::path& path);
std::string NpyBytes(const std::string& descr, const std::string& shape, const std::string& data, bool fortran = false);

void WriteBytes(const std::filesystem::path& path, const std::string& bytes);
std::string ReadBytes(const std::filesystem::path& path);

// A width x height grid of z(x, y); Plane is z = 10 + 0.5 x + 0.25 y.
Grid FieldOf(int width, int height, float (*z)(int x, int y));
Grid Plane(int width, int height);
// The grid as a float32 .npy file.
void WriteField(const std::filesystem::path& path, const Grid& g);
// The path in single quotes, for RunTool's shell.
std::string Quote(const std::filesystem::path& path);

// The grid as a raster; Grid{w, h, values} makes small hand-written ones.
CSSEMatrix ToMatrix(const Grid& g);

// Runs load and expects the tool's bad-input error (exit 2) whose message
// holds every mention (the file, the reason).
void ExpectBadInput(const std::function<void()>& load, std::initializer_list<std::string> mentions);

// Writes the triangles through the tool's writer for the path's extension;
// returns the count the writer kept.
std::int64_t WriteTriangles(const std::filesystem::path& path, const std::vector<float>& corners);

// Everything a reader of the tool gives, asked for `chunk` triangles at a
// time; the count the reader reports must match.
std::vector<float> ReadTriangles(relief::tool::TriangleReader& reader, int chunk = 3);
std::vector<float> ReadTriangles(const std::filesystem::path& path);

// A seeded field of the given size: values in (lo, hi), with about
// holeFraction of the pixels 0.
Grid RandomField(int width, int height, std::uint32_t seed, float lo, float hi, double holeFraction);

}  // namespace relief_test
