// Wavefront OBJ, written only: each triangle's three vertices followed by a
// face with relative (negative) indices, so nothing needs to be remembered.

#include <cstdio>

#include "io/mesh_io.h"

namespace relief::tool::detail {

namespace {

class ObjWriter : public TriangleWriter {
 public:
  explicit ObjWriter(const std::filesystem::path& path) : m_out(path) { m_out.Printf("# written by relief\n"); }
  void Add(const float c[9]) override {
    // %.9g round-trips every float exactly.
    m_out.Printf("v %.9g %.9g %.9g\nv %.9g %.9g %.9g\nv %.9g %.9g %.9g\nf -3 -2 -1\n", c[0], c[1], c[2], c[3], c[4],
                 c[5], c[6], c[7], c[8]);
    ++m_count;
  }
  void Commit() override { m_out.Commit(); }

 private:
  BinaryOut m_out;
};

}  // namespace

std::unique_ptr<TriangleWriter> OpenObjWriter(const std::filesystem::path& path) {
  return std::make_unique<ObjWriter>(path);
}

}  // namespace relief::tool::detail
