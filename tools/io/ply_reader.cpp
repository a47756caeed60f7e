// PLY input, streamed: faces are read from the file chunk by chunk and their
// corners looked up in the vertex element. For binary files with fixed-size
// vertex records (the usual case) the vertices stay in the file and are
// fetched through a small cache of blocks, so reading never holds the whole
// vertex table; ASCII files and vertex records with lists are read whole.
// Opening makes one pass over the faces to count the triangles and check
// every index, so that a bad file is refused before any work is done.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>

#include "errors.h"
#include "io/mesh_io.h"
#include "io/ply_format.h"

namespace relief::tool::detail {

namespace {

// The corners' positions by vertex number.
class VertexSource {
 public:
  virtual ~VertexSource() = default;
  virtual void Get(std::uint32_t index, float xyz[3]) = 0;
};

// x, y, z of an element's record: which property holds each.
struct Axes {
  int slot[3] = {-1, -1, -1};
};

Axes FindAxes(const PlyElement& element, const std::filesystem::path& path) {
  Axes axes;
  for (size_t i = 0; i < element.properties.size(); ++i) {
    const auto& p = element.properties[i];
    for (int a = 0; a < 3; ++a)
      if (p.name == std::string(1, static_cast<char>('x' + a)) && !p.isList) axes.slot[a] = static_cast<int>(i);
  }
  if (axes.slot[0] < 0 || axes.slot[1] < 0 || axes.slot[2] < 0)
    throw BadInput(path, "PLY vertices without x, y and z");
  return axes;
}

class TableVertices : public VertexSource {
 public:
  TableVertices(PlyScalars& scalars, const PlyElement& element, const Axes& axes) {
    m_xyz.resize(static_cast<size_t>(element.count) * 3);
    for (std::int64_t v = 0; v < element.count; ++v)
      for (size_t i = 0; i < element.properties.size(); ++i) {
        const auto& p = element.properties[i];
        if (p.isList) {
          scalars.Skip(p);
          continue;
        }
        const double value = scalars.Read(p.type);
        for (int a = 0; a < 3; ++a)
          if (axes.slot[a] == static_cast<int>(i)) m_xyz[3 * v + a] = static_cast<float>(value);
      }
  }
  void Get(std::uint32_t index, float xyz[3]) override { std::memcpy(xyz, &m_xyz[3 * size_t(index)], 12); }

 private:
  std::vector<float> m_xyz;
};

// Fixed-size binary records read from the file in blocks of kBlock
// vertices, kept in a direct-mapped cache: faces of real meshes refer to
// vertices near each other, so almost every lookup hits.
class CachedVertices : public VertexSource {
 public:
  CachedVertices(const std::filesystem::path& path, const PlyElement& element, const Axes& axes,
                 PlyEncoding encoding, std::uint64_t start)
      : m_path(path), m_encoding(encoding), m_start(start), m_count(element.count),
        m_recordBytes(element.FixedBytes()), m_slots(kSlots) {
    m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) throw CannotOpen(path);
    std::int64_t offset = 0;
    for (size_t i = 0; i < element.properties.size(); ++i) {
      for (int a = 0; a < 3; ++a)
        if (axes.slot[a] == static_cast<int>(i)) {
          m_offset[a] = offset;
          m_type[a] = element.properties[i].type;
        }
      offset += element.properties[i].type.bytes;
    }
    m_record.resize(static_cast<size_t>(m_recordBytes) * kBlock);
  }
  ~CachedVertices() override { ::close(m_fd); }

  void Get(std::uint32_t index, float xyz[3]) override {
    const std::uint64_t block = index / kBlock;
    Slot& slot = m_slots[block % kSlots];
    if (slot.block != block) Load(slot, block);
    std::memcpy(xyz, &slot.xyz[3 * (index % kBlock)], 12);
  }

 private:
  static constexpr std::uint32_t kBlock = 256;
  static constexpr size_t kSlots = 512;  // 1.5 MB of decoded corners
  struct Slot {
    std::uint64_t block = ~std::uint64_t(0);
    std::vector<float> xyz;
  };

  void Load(Slot& slot, std::uint64_t block) {
    const std::uint64_t first = block * kBlock;
    const std::uint64_t n = std::min<std::uint64_t>(kBlock, static_cast<std::uint64_t>(m_count) - first);
    const size_t bytes = static_cast<size_t>(n * m_recordBytes);
    const off_t at = static_cast<off_t>(m_start + first * m_recordBytes);
    size_t got = 0;
    while (got < bytes) {
      const ssize_t r = ::pread(m_fd, m_record.data() + got, bytes - got, at + static_cast<off_t>(got));
      if (r <= 0) throw BadInput(m_path, "truncated PLY vertex data");
      got += static_cast<size_t>(r);
    }
    slot.xyz.resize(3 * kBlock);
    for (std::uint64_t v = 0; v < n; ++v)
      for (int a = 0; a < 3; ++a)
        slot.xyz[3 * v + a] = static_cast<float>(
            DecodePlyScalar(&m_record[v * m_recordBytes + m_offset[a]], m_type[a], m_encoding));
    slot.block = block;
  }

  std::filesystem::path m_path;
  PlyEncoding m_encoding;
  std::uint64_t m_start;
  std::int64_t m_count;
  std::int64_t m_recordBytes;
  std::int64_t m_offset[3] = {0, 0, 0};
  PlyType m_type[3];
  std::vector<unsigned char> m_record;
  std::vector<Slot> m_slots;
  int m_fd = -1;
};

// Corners a polygon may have; more is taken for a corrupt count.
constexpr std::int64_t kMaxPolygonCorners = 1000;

class PlyReader : public TriangleReader {
 public:
  explicit PlyReader(const std::filesystem::path& path);

  bool Next(std::vector<float>& out, std::int64_t maxTriangles) override;
  void Rewind() override;
  std::int64_t Count() const override { return m_triangles; }

 private:
  // The elements before the faces: the vertices kept (in a table, or left
  // in the file behind a cache), any other element skipped; m_face is set
  // when there are faces.
  void ReadElementsBeforeFaces();
  void ReadVertexElement(const PlyElement& element);
  // One pass over the faces from m_faceStart: counts the triangles their
  // fans give and checks every index.
  void CountTriangles();
  // Reads one face's corner list (the vertex_indices property) into m_polygon;
  // false when the face has none.
  bool ReadFace(std::int64_t face);

  std::filesystem::path m_path;
  PlyHeader m_header;
  const PlyElement* m_face = nullptr;
  std::ifstream m_in;
  std::unique_ptr<PlyScalars> m_scalars;
  std::uint64_t m_faceStart = 0;
  std::unique_ptr<VertexSource> m_vertices;
  std::int64_t m_vertexCount = 0;
  std::int64_t m_triangles = 0;
  // Streaming state: the next face, the polygon being fanned, its next corner.
  std::int64_t m_nextFace = 0;
  std::vector<std::uint32_t> m_polygon;
  size_t m_fanNext = 0;
  std::int64_t m_handedOut = 0;
};

PlyReader::PlyReader(const std::filesystem::path& path) : m_path(path), m_in(path, std::ios::binary) {
  const std::uint64_t fileSize = FileSizeOrThrow(path);
  if (!m_in) throw CannotOpen(path);
  m_header = ReadPlyHeader(m_in, path, fileSize);
  m_scalars = std::make_unique<PlyScalars>(m_in, m_header.encoding, m_path);
  ReadElementsBeforeFaces();
  if (!m_face) return;  // no faces: an empty mesh
  m_faceStart = m_scalars->Tell();
  CountTriangles();
  Rewind();
}

void PlyReader::ReadElementsBeforeFaces() {
  PlyScalars& scalars = *m_scalars;
  bool haveVertices = false;
  for (const auto& element : m_header.elements) {
    if (element.name == "vertex") {
      ReadVertexElement(element);
      haveVertices = true;
    } else if (element.name == "face") {
      if (!haveVertices) throw BadInput(m_path, "PLY faces before vertices are not supported");
      m_face = &element;
      return;  // elements after the faces are not needed
    } else {
      for (std::int64_t e = 0; e < element.count; ++e)
        for (const auto& p : element.properties) scalars.Skip(p);
    }
  }
}

void PlyReader::ReadVertexElement(const PlyElement& element) {
  PlyScalars& scalars = *m_scalars;
  const Axes axes = FindAxes(element, m_path);
  m_vertexCount = element.count;
  if (m_vertexCount > 0xffffffffLL) throw BadInput(m_path, "PLY file with more than 2^32 - 1 vertices");
  if (m_header.encoding != PlyEncoding::kAscii && element.FixedBytes() > 0) {
    const std::uint64_t start = scalars.Tell();
    m_vertices = std::make_unique<CachedVertices>(m_path, element, axes, m_header.encoding, start);
    // The header check made sure count x record fits in the file.
    scalars.Seek(start + static_cast<std::uint64_t>(element.count * element.FixedBytes()));
  } else {
    m_vertices = std::make_unique<TableVertices>(scalars, element, axes);
  }
}

void PlyReader::CountTriangles() {
  for (std::int64_t f = 0; f < m_face->count; ++f)
    if (ReadFace(f) && m_polygon.size() >= 3) m_triangles += static_cast<std::int64_t>(m_polygon.size()) - 2;
}

bool PlyReader::ReadFace(std::int64_t face) {
  PlyScalars& scalars = *m_scalars;
  bool found = false;
  for (const auto& p : m_face->properties) {
    const bool corners = p.isList && (p.name == "vertex_indices" || p.name == "vertex_index");
    if (!corners || found) {
      scalars.Skip(p);
      continue;
    }
    const std::int64_t n = scalars.ReadCount(p.countType, kMaxPolygonCorners, "face");
    m_polygon.resize(static_cast<size_t>(n));
    for (auto& c : m_polygon) {
      const double index = scalars.Read(p.type);
      // Checked as a double before the cast: NaN, fractions and huge values fail.
      if (!(index >= 0 && index < static_cast<double>(m_vertexCount)) || index != std::floor(index))
        throw BadInput(m_path, "PLY face " + std::to_string(face) + " refers to a vertex outside 0 .. " +
                                   std::to_string(m_vertexCount - 1));
      c = static_cast<std::uint32_t>(index);
    }
    found = true;
  }
  if (!found) m_polygon.clear();
  return found;
}

void PlyReader::Rewind() {
  m_scalars->Seek(m_faceStart);
  m_nextFace = 0;
  m_polygon.clear();
  m_fanNext = 0;
  m_handedOut = 0;
}

bool PlyReader::Next(std::vector<float>& out, std::int64_t maxTriangles) {
  if (!m_face || m_handedOut >= m_triangles) return false;
  std::int64_t taken = 0;
  while (taken < maxTriangles && m_handedOut < m_triangles) {
    // Polygons become fans around their first corner.
    if (m_fanNext + 1 >= m_polygon.size()) {
      if (m_nextFace >= m_face->count) break;
      ReadFace(m_nextFace++);
      m_fanNext = 1;
      continue;
    }
    float c[9];
    m_vertices->Get(m_polygon[0], c);
    m_vertices->Get(m_polygon[m_fanNext], c + 3);
    m_vertices->Get(m_polygon[m_fanNext + 1], c + 6);
    CheckFinite(m_path, c, m_handedOut);
    out.insert(out.end(), c, c + 9);
    ++m_fanNext;
    ++m_handedOut;
    ++taken;
  }
  return taken > 0;
}

}  // namespace

std::unique_ptr<TriangleReader> OpenPlyReader(const std::filesystem::path& path) {
  return std::make_unique<PlyReader>(path);
}

}  // namespace relief::tool::detail
