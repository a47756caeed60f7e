// PLY output: binary little-endian, a vertex table of the distinct corners
// (shared between triangles, numbered in order of first appearance) and one
// face of three int indices per triangle. The vertex count is known only at
// the end, so vertices stream into the output while the faces wait in a
// scratch file beside it (unlinked at once, so nothing is left behind) and
// are appended when the mesh is complete.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

#include "errors.h"
#include "io/mesh_io.h"
#include "io/vertex_table.h"

namespace relief::tool::detail {

namespace {

// An anonymous file in the target's folder: on the same disk as the output,
// not in a memory-backed /tmp.
std::FILE* OpenScratch(const std::filesystem::path& target) {
  std::filesystem::path folder = target.parent_path();
  if (folder.empty()) folder = ".";
  std::string pattern = (folder / ("." + target.filename().string() + ".faces-XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) throw BadInput(target, std::string("cannot create a scratch file: ") + std::strerror(errno), errno);
  ::unlink(pattern.c_str());
  std::FILE* file = ::fdopen(fd, "w+b");
  if (!file) {
    ::close(fd);
    throw WorkFailed(target, "cannot open a scratch file");
  }
  return file;
}

class PlyWriter : public TriangleWriter {
 public:
  explicit PlyWriter(const std::filesystem::path& path) : m_out(path), m_faces(OpenScratch(path)) {
    std::setvbuf(m_faces, nullptr, _IOFBF, 1 << 20);
    m_out.Printf("ply\nformat binary_little_endian 1.0\ncomment written by relief\n");
    m_vertexCountAt = m_out.Tell() + static_cast<long>(std::strlen("element vertex "));
    m_out.Printf("element vertex %012d\nproperty float x\nproperty float y\nproperty float z\n", 0);
    m_faceCountAt = m_out.Tell() + static_cast<long>(std::strlen("element face "));
    m_out.Printf("element face %012d\nproperty list uchar int vertex_indices\nend_header\n", 0);
  }
  ~PlyWriter() override { std::fclose(m_faces); }

  void Add(const float c[9]) override {
    CheckFiniteOutput(m_out.Target(), c, m_count);
    unsigned char face[13];
    face[0] = 3;
    for (int k = 0; k < 3; ++k) {
      bool isNew = false;
      const std::uint32_t index = m_vertices.Find(c + 3 * k, isNew);
      if (index > 0x7fffffffu) throw WorkFailed(m_out.Target(), "too many vertices for PLY int indices");
      if (isNew) m_out.Write(c + 3 * k, 12);
      std::memcpy(face + 1 + 4 * k, &index, 4);
    }
    std::fwrite(face, 1, sizeof face, m_faces);
    ++m_count;
  }

  void Commit() override {
    if (std::fflush(m_faces) != 0 || std::ferror(m_faces)) throw WorkFailed(m_out.Target(), "write failed (disk full?)");
    std::rewind(m_faces);
    std::string block(1 << 20, '\0');
    for (;;) {
      const size_t got = std::fread(block.data(), 1, block.size(), m_faces);
      if (got == 0) break;
      m_out.Write(block.data(), got);
    }
    if (std::ferror(m_faces)) throw WorkFailed(m_out.Target(), "cannot read back the scratch file");
    char digits[16];
    std::snprintf(digits, sizeof digits, "%012lld", static_cast<long long>(m_vertices.Size()));
    m_out.Patch(m_vertexCountAt, digits, 12);
    std::snprintf(digits, sizeof digits, "%012lld", static_cast<long long>(m_count));
    m_out.Patch(m_faceCountAt, digits, 12);
    m_out.Commit();
  }

 private:
  BinaryOut m_out;
  std::FILE* m_faces;
  VertexTable m_vertices;
  long m_vertexCountAt = 0;
  long m_faceCountAt = 0;
};

}  // namespace

std::unique_ptr<TriangleWriter> OpenPlyWriter(const std::filesystem::path& path) {
  return std::make_unique<PlyWriter>(path);
}

}  // namespace relief::tool::detail
