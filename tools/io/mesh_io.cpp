#include "io/mesh_io.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <fstream>

#include "errors.h"
#include "mesh_build.h"  // IsUsedRecord: which records of a library mesh are triangles
#include "io/extension.h"
#include "progress.h"
#include "relief/CArchive.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"

namespace relief::tool {

bool IsMeshPath(const std::filesystem::path& path) {
  const std::string ext = LowerExtension(path);
  return ext == ".ply" || ext == ".stl" || ext == ".obj" || ext == ".rmesh";
}

MeshFormat MeshFormatOf(const std::filesystem::path& path) {
  const std::string ext = LowerExtension(path);
  if (ext == ".ply") return MeshFormat::kPly;
  if (ext == ".stl") return MeshFormat::kStl;
  if (ext == ".obj") return MeshFormat::kObj;
  if (ext == ".rmesh") return MeshFormat::kRmesh;
  throw BadInput(path, "unknown mesh extension '" + ext + "' (use .ply, .stl, .obj or .rmesh)");
}

std::unique_ptr<TriangleWriter> OpenTriangleWriter(const std::filesystem::path& path) {
  switch (MeshFormatOf(path)) {
    case MeshFormat::kPly: return detail::OpenPlyWriter(path);
    case MeshFormat::kStl: return detail::OpenStlWriter(path);
    case MeshFormat::kObj: return detail::OpenObjWriter(path);
    case MeshFormat::kRmesh: break;
  }
  throw BadInput(path, ".rmesh is written whole, not streamed");
}

std::int64_t WriteMesh(const std::filesystem::path& path, CHTriangulation& mesh) {
  if (MeshFormatOf(path) == MeshFormat::kRmesh) {
    AtomicFile out(path);
    if (!mesh.Store(out.TempPath())) throw BadInput(path, "cannot open for writing");
    out.Commit();
    return CountUsedRecords(mesh);
  }
  auto writer = OpenTriangleWriter(path);
  const int n = mesh.GetNumTriangles();
  const SSEPoint* corners = mesh.GetEdgeArray();
  Progress progress("writing " + path.filename().string(), n);
  for (int i = 0; i < n; ++i) {
    if (!IsUsedRecord(mesh, i)) continue;
    const SSEPoint* p = corners + 3 * i;
    const float c[9] = {p[0].x, p[0].y, p[0].z, p[1].x, p[1].y, p[1].z, p[2].x, p[2].y, p[2].z};
    writer->Add(c);
    if ((i & 0xffff) == 0) progress.Update(i);
  }
  writer->Commit();
  return writer->Count();
}

std::unique_ptr<TriangleReader> OpenTriangleReader(const std::filesystem::path& path, EmptyMesh empty) {
  const MeshFormat format = MeshFormatOf(path);
  detail::FileSizeOrThrow(path);
  std::unique_ptr<TriangleReader> reader;
  if (format == MeshFormat::kPly) reader = detail::OpenPlyReader(path);
  else if (format == MeshFormat::kStl) reader = detail::OpenStlReader(path);
  else throw BadInput(path, "meshes are read from .ply, .stl or .rmesh");
  if (reader->Count() < 1 && empty == EmptyMesh::kRefuse) throw BadInput(path, "empty mesh (no triangles)");
  return reader;
}

std::unique_ptr<CHTriangulation> ReadRmesh(const std::filesystem::path& path, EmptyMesh empty) {
  const std::uint64_t size = detail::FileSizeOrThrow(path);
  // The archive has no magic number: its length must be exactly that of the
  // count it states, which also catches truncation and trailing garbage.
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CannotOpen(path);
  std::int32_t n = -1;
  if (size >= 32) {
    in.seekg(28);
    in.read(reinterpret_cast<char*>(&n), 4);
  }
  if (size < 80 || n < 0 || size != 80 + 268ull * static_cast<std::uint64_t>(n))
    throw BadInput(path, "file size does not match its header (" + std::to_string(size) + " bytes" +
                             (n >= 0 ? " for " + std::to_string(n) + " triangles" : std::string()) + ")");
  if (n == 0 && empty == EmptyMesh::kRefuse) throw BadInput(path, "empty mesh (no triangles)");
  in.seekg(0);
  auto mesh = std::make_unique<CHTriangulation>(0, 1.0f, 1.0f, 1.0f);
  try {
    CArchive archive(in);
    mesh->Serialize(archive);
  } catch (const CArchiveException&) {
    throw BadInput(path, "corrupt or truncated mesh archive");
  }
  for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
    const SSEPoint* p = mesh->GetEdgeArray() + 3 * i;
    const float c[9] = {p[0].x, p[0].y, p[0].z, p[1].x, p[1].y, p[1].z, p[2].x, p[2].y, p[2].z};
    detail::CheckFinite(path, c, i);
  }
  return mesh;
}

namespace detail {

BinaryOut::BinaryOut(const std::filesystem::path& target) : m_file(target), m_buffer(1 << 20) {
  m_out = std::fopen(m_file.TempPath().c_str(), "wb");
  if (!m_out) throw BadInput(target, "cannot open for writing");
  std::setvbuf(m_out, m_buffer.data(), _IOFBF, m_buffer.size());
}

BinaryOut::~BinaryOut() {
  if (m_out) std::fclose(m_out);
}

void BinaryOut::Write(const void* data, size_t bytes) { std::fwrite(data, 1, bytes, m_out); }

void BinaryOut::Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(m_out, format, args);
  va_end(args);
}

void BinaryOut::Patch(long offset, const void* data, size_t bytes) {
  std::fflush(m_out);
  std::fseek(m_out, offset, SEEK_SET);
  std::fwrite(data, 1, bytes, m_out);
  std::fseek(m_out, 0, SEEK_END);
}

long BinaryOut::Tell() { return std::ftell(m_out); }

void BinaryOut::Commit() {
  const bool failed = std::fflush(m_out) != 0 || std::ferror(m_out);
  const bool closeFailed = std::fclose(m_out) != 0;
  m_out = nullptr;
  if (failed || closeFailed) throw WorkFailed(Target(), "write failed (disk full?)");
  m_file.Commit();
}

std::uint64_t FileSizeOrThrow(const std::filesystem::path& path) {
  RequireInputFile(path);
  std::error_code ec;
  const auto size = std::filesystem::file_size(path, ec);
  if (ec) throw BadInput(path, "cannot read: " + ec.message());
  return size;
}

void CheckFinite(const std::filesystem::path& path, const float* c, std::int64_t triangle) {
  for (int k = 0; k < 9; ++k)
    if (!std::isfinite(c[k]))
      throw BadInput(path, "triangle " + std::to_string(triangle) + " has a non-finite coordinate");
}

void CheckFiniteOutput(const std::filesystem::path& target, const float* c, std::int64_t triangle) {
  for (int k = 0; k < 9; ++k)
    if (!std::isfinite(c[k]))
      throw BadInput(target, "triangle " + std::to_string(triangle) +
                                 " would get a non-finite coordinate (scale or heights beyond the float range)");
}

}  // namespace detail
}  // namespace relief::tool
