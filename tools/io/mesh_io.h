#pragma once

// Triangle meshes in and out of files, the format chosen by the extension:
//   .ply    binary little-endian PLY, vertices shared between faces (read:
//           binary little/big-endian or ASCII, polygons fanned)
//   .stl    binary STL, every facet with its own corners (read: binary, or
//           ASCII "solid" files)
//   .obj    Wavefront OBJ, vertices shared (written only)
//   .rmesh  the library's own mesh archive (written and read whole)
//
// Writers stream: a mesh of tens of millions of triangles goes to disk one
// triangle at a time, with counts patched into the header at the end; PLY and
// OBJ keep only a table of the distinct corners (16 to 32 bytes a vertex).
// Readers hand triangles out in chunks for the same reason: a binary PLY's
// vertices are fetched from the file through a small cache, never held whole. Every output is written to a temporary
// beside the target and renamed on success.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "io/atomic_file.h"

#include "relief/CHTriangulation.h"

namespace relief::tool {

enum class MeshFormat { kPly, kStl, kObj, kRmesh };

// The extensions above, as help texts list them: all four are written, the
// triangle streams (no .rmesh) are what the streaming writers take, and
// meshes are read from PLY, STL and .rmesh.
inline constexpr const char* kMeshExtensions = ".ply .stl .obj .rmesh";
inline constexpr const char* kStreamedMeshExtensions = ".ply .stl .obj";
inline constexpr const char* kReadMeshExtensions = ".ply .stl .rmesh";

bool IsMeshPath(const std::filesystem::path& path);
// Throws BadInput for an unknown extension.
MeshFormat MeshFormatOf(const std::filesystem::path& path);

// A streaming writer for PLY, STL and OBJ. Corners are nine floats
// (x0, y0, z0, x1, ...) in the winding the mesh has.
class TriangleWriter {
 public:
  virtual ~TriangleWriter() = default;
  virtual void Add(const float corners[9]) = 0;
  // Completes the file (counts, flush) and renames it over the target.
  virtual void Commit() = 0;
  std::int64_t Count() const { return m_count; }

 protected:
  std::int64_t m_count = 0;
};

// Keeps what it is handed in memory: nine floats a triangle.
class TriangleCollector : public TriangleWriter {
 public:
  void Add(const float corners[9]) override {
    m_corners.insert(m_corners.end(), corners, corners + 9);
    ++m_count;
  }
  void Commit() override {}
  const std::vector<float>& Corners() const { return m_corners; }

 private:
  std::vector<float> m_corners;
};

// Throws BadInput for .rmesh (not a streaming format) or an unknown extension.
std::unique_ptr<TriangleWriter> OpenTriangleWriter(const std::filesystem::path& path);

// Writes every used record of mesh as it is, in any of the four formats
// (.rmesh keeps the unused records too: it is the object as it lies in
// memory). Returns the number of used records.
std::int64_t WriteMesh(const std::filesystem::path& path, CHTriangulation& mesh);

// Streams triangles out of a PLY or STL file in chunks.
class TriangleReader {
 public:
  virtual ~TriangleReader() = default;
  // Appends up to maxTriangles triangles (nine floats each) to out; false
  // when there are none left. Throws BadInput on corrupt data.
  virtual bool Next(std::vector<float>& out, std::int64_t maxTriangles) = 0;
  // Starts again from the first triangle.
  virtual void Rewind() = 0;
  // Triangles in the file (after fanning polygons for PLY).
  virtual std::int64_t Count() const = 0;
};

// PLY and STL; throws BadInput for anything else, a missing file, a corrupt
// or truncated file, a file whose size disagrees with its header, or a mesh
// without triangles. A triangle with a non-finite corner is refused too
// (vertices no triangle uses may hold anything). `info` describes any valid
// file, so it passes EmptyMesh::kAccept.
enum class EmptyMesh { kRefuse, kAccept };
std::unique_ptr<TriangleReader> OpenTriangleReader(const std::filesystem::path& path,
                                                   EmptyMesh empty = EmptyMesh::kRefuse);

// Loads a .rmesh archive; BadInput when it is missing, truncated or (unless
// accepted) empty.
std::unique_ptr<CHTriangulation> ReadRmesh(const std::filesystem::path& path, EmptyMesh empty = EmptyMesh::kRefuse);

namespace detail {
std::unique_ptr<TriangleWriter> OpenPlyWriter(const std::filesystem::path& path);
std::unique_ptr<TriangleWriter> OpenStlWriter(const std::filesystem::path& path);
std::unique_ptr<TriangleWriter> OpenObjWriter(const std::filesystem::path& path);
std::unique_ptr<TriangleReader> OpenPlyReader(const std::filesystem::path& path);
std::unique_ptr<TriangleReader> OpenStlReader(const std::filesystem::path& path);

// A FILE* over an AtomicFile's temporary with a large buffer; write errors
// surface at Close as WorkFailed naming the target.
class BinaryOut {
 public:
  explicit BinaryOut(const std::filesystem::path& target);
  ~BinaryOut();
  void Write(const void* data, size_t bytes);
  void Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // Overwrites bytes at an absolute offset (header counts), then returns to the end.
  void Patch(long offset, const void* data, size_t bytes);
  long Tell();
  // Flushes, closes and renames over the target.
  void Commit();
  const std::filesystem::path& Target() const { return m_file.Target(); }

 private:
  AtomicFile m_file;
  std::FILE* m_out = nullptr;
  std::vector<char> m_buffer;
};

// Reads a whole-file size; BadInput when the file is missing.
std::uint64_t FileSizeOrThrow(const std::filesystem::path& path);
// BadInput unless all nine coordinates are finite.
void CheckFinite(const std::filesystem::path& path, const float* corners, std::int64_t triangle);
// The same for a triangle about to be written to target (exit 2: the scale
// or the heights given overflow the float range).
void CheckFiniteOutput(const std::filesystem::path& target, const float* corners, std::int64_t triangle);
}  // namespace detail

}  // namespace relief::tool
