// Wavefront OBJ, written only. Vertices are shared between triangles: a
// corner's "v" line is written when it first appears and faces use absolute
// (1-based) vertex numbers, so the file streams in one pass.

#include <cstdio>

#include "io/mesh_io.h"
#include "io/vertex_table.h"

namespace relief::tool::detail {

namespace {

class ObjWriter : public TriangleWriter {
 public:
  explicit ObjWriter(const std::filesystem::path& path) : m_out(path) { m_out.Printf("# written by relief\n"); }
  void Add(const float c[9]) override {
    CheckFiniteOutput(m_out.Target(), c, m_count);
    unsigned long long index[3];
    for (int k = 0; k < 3; ++k) {
      bool isNew = false;
      index[k] = m_vertices.Find(c + 3 * k, isNew) + 1ull;
      // %.9g round-trips every float exactly.
      if (isNew) m_out.Printf("v %.9g %.9g %.9g\n", c[3 * k], c[3 * k + 1], c[3 * k + 2]);
    }
    m_out.Printf("f %llu %llu %llu\n", index[0], index[1], index[2]);
    ++m_count;
  }
  void Commit() override { m_out.Commit(); }

 private:
  BinaryOut m_out;
  VertexTable m_vertices;
};

}  // namespace

std::unique_ptr<TriangleWriter> OpenObjWriter(const std::filesystem::path& path) {
  return std::make_unique<ObjWriter>(path);
}

}  // namespace relief::tool::detail
