// PLY: an ASCII header declaring elements and their properties, then the
// element data in ASCII or binary. The writer emits each triangle's own three
// vertices (the library's meshes own their corners, so this is their natural
// form and needs no vertex table while streaming).

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "errors.h"
#include "io/mesh_io.h"

namespace relief::tool::detail {

namespace {

class PlyWriter : public TriangleWriter {
 public:
  explicit PlyWriter(const std::filesystem::path& path) : m_out(path) {
    m_out.Printf("ply\nformat binary_little_endian 1.0\ncomment written by relief\n");
    m_vertexCountAt = m_out.Tell() + static_cast<long>(std::strlen("element vertex "));
    m_out.Printf("element vertex %012d\nproperty float x\nproperty float y\nproperty float z\n", 0);
    m_faceCountAt = m_out.Tell() + static_cast<long>(std::strlen("element face "));
    m_out.Printf("element face %012d\nproperty list uchar int vertex_indices\nend_header\n", 0);
  }
  void Add(const float c[9]) override {
    m_out.Write(c, 36);
    ++m_count;
  }
  void Commit() override {
    if (m_count * 3 > 0x7fffffffLL) throw WorkFailed(m_out.Target(), "too many triangles for PLY int indices");
    // Triangle i is made of vertices 3i, 3i+1, 3i+2 in the order written.
    unsigned char face[13];
    face[0] = 3;
    for (std::int64_t i = 0; i < m_count; ++i) {
      const std::int32_t v[3] = {static_cast<std::int32_t>(3 * i), static_cast<std::int32_t>(3 * i + 1),
                                 static_cast<std::int32_t>(3 * i + 2)};
      std::memcpy(face + 1, v, 12);
      m_out.Write(face, 13);
    }
    char digits[16];
    std::snprintf(digits, sizeof digits, "%012lld", static_cast<long long>(m_count * 3));
    m_out.Patch(m_vertexCountAt, digits, 12);
    std::snprintf(digits, sizeof digits, "%012lld", static_cast<long long>(m_count));
    m_out.Patch(m_faceCountAt, digits, 12);
    m_out.Commit();
  }

 private:
  BinaryOut m_out;
  long m_vertexCountAt = 0;
  long m_faceCountAt = 0;
};

enum class PlyEncoding { kAscii, kLittle, kBig };

struct PlyType {
  int bytes = 0;
  bool isFloat = false;
  bool isSigned = false;
};

bool ParsePlyType(const std::string& name, PlyType& type) {
  static const struct {
    const char* name;
    PlyType type;
  } kTypes[] = {{"char", {1, false, true}},    {"int8", {1, false, true}},     {"uchar", {1, false, false}},
                {"uint8", {1, false, false}},  {"short", {2, false, true}},    {"int16", {2, false, true}},
                {"ushort", {2, false, false}}, {"uint16", {2, false, false}},  {"int", {4, false, true}},
                {"int32", {4, false, true}},   {"uint", {4, false, false}},    {"uint32", {4, false, false}},
                {"float", {4, true, true}},    {"float32", {4, true, true}},   {"double", {8, true, true}},
                {"float64", {8, true, true}}};
  for (const auto& t : kTypes)
    if (name == t.name) {
      type = t.type;
      return true;
    }
  return false;
}

struct PlyProperty {
  std::string name;
  PlyType type;
  bool isList = false;
  PlyType countType;
};

struct PlyElement {
  std::string name;
  std::int64_t count = 0;
  std::vector<PlyProperty> properties;
};

// Reads one scalar of the given type from the data section.
class PlyScalars {
 public:
  PlyScalars(std::istream& in, PlyEncoding encoding, const std::filesystem::path& path)
      : m_in(in), m_encoding(encoding), m_path(path) {}

  double Read(const PlyType& type) {
    if (m_encoding == PlyEncoding::kAscii) {
      double v;
      if (!(m_in >> v)) throw BadInput(m_path, "corrupt or truncated PLY data");
      return v;
    }
    unsigned char b[8];
    if (!m_in.read(reinterpret_cast<char*>(b), type.bytes)) throw BadInput(m_path, "truncated PLY data");
    if (m_encoding == PlyEncoding::kBig) std::reverse(b, b + type.bytes);
    switch (type.bytes) {
      case 1: return type.isSigned ? static_cast<double>(static_cast<std::int8_t>(b[0])) : b[0];
      case 2: {
        std::uint16_t u;
        std::memcpy(&u, b, 2);
        return type.isSigned ? static_cast<double>(static_cast<std::int16_t>(u)) : u;
      }
      case 4: {
        if (type.isFloat) {
          float f;
          std::memcpy(&f, b, 4);
          return f;
        }
        std::uint32_t u;
        std::memcpy(&u, b, 4);
        return type.isSigned ? static_cast<double>(static_cast<std::int32_t>(u)) : u;
      }
      default: {
        double d;
        std::memcpy(&d, b, 8);
        return d;
      }
    }
  }

 private:
  std::istream& m_in;
  PlyEncoding m_encoding;
  const std::filesystem::path& m_path;
};

class PlyReader : public TriangleReader {
 public:
  explicit PlyReader(const std::filesystem::path& path) : m_path(path) { Load(); }

  bool Next(std::vector<float>& out, std::int64_t maxTriangles) override {
    const std::int64_t count = Count();
    if (m_next >= count) return false;
    const std::int64_t take = std::min(maxTriangles, count - m_next);
    for (std::int64_t t = m_next; t < m_next + take; ++t)
      for (int k = 0; k < 3; ++k) {
        const float* v = &m_vertices[3 * static_cast<size_t>(m_faces[3 * t + k])];
        out.insert(out.end(), v, v + 3);
      }
    m_next += take;
    return true;
  }
  void Rewind() override { m_next = 0; }
  std::int64_t Count() const override { return static_cast<std::int64_t>(m_faces.size() / 3); }

 private:
  void Load();

  std::filesystem::path m_path;
  // The vertex table and fanned face indices: faces refer to any vertex, so
  // the table must be at hand while triangles are handed out.
  std::vector<float> m_vertices;
  std::vector<std::uint32_t> m_faces;
  std::int64_t m_next = 0;
};

void PlyReader::Load() {
  const std::uint64_t fileSize = FileSizeOrThrow(m_path);
  std::ifstream in(m_path, std::ios::binary);
  if (!in) throw BadInput(m_path, "cannot open for reading");
  std::string line;
  if (!std::getline(in, line) || line.substr(0, 3) != "ply") throw BadInput(m_path, "not a PLY file");
  PlyEncoding encoding = PlyEncoding::kAscii;
  bool haveFormat = false;
  std::vector<PlyElement> elements;
  for (;;) {
    if (!std::getline(in, line)) throw BadInput(m_path, "truncated PLY header");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::istringstream words(line);
    std::string keyword;
    words >> keyword;
    if (keyword == "end_header") break;
    if (keyword == "comment" || keyword == "obj_info" || keyword.empty()) continue;
    if (keyword == "format") {
      std::string name;
      words >> name;
      if (name == "ascii") encoding = PlyEncoding::kAscii;
      else if (name == "binary_little_endian") encoding = PlyEncoding::kLittle;
      else if (name == "binary_big_endian") encoding = PlyEncoding::kBig;
      else throw BadInput(m_path, "unknown PLY format '" + name + "'");
      haveFormat = true;
    } else if (keyword == "element") {
      PlyElement element;
      if (!(words >> element.name >> element.count) || element.count < 0)
        throw BadInput(m_path, "bad PLY element line '" + line + "'");
      elements.push_back(element);
    } else if (keyword == "property") {
      if (elements.empty()) throw BadInput(m_path, "PLY property before any element");
      PlyProperty property;
      std::string type;
      words >> type;
      if (type == "list") {
        std::string countType, itemType;
        words >> countType >> itemType;
        property.isList = true;
        if (!ParsePlyType(countType, property.countType) || !ParsePlyType(itemType, property.type))
          throw BadInput(m_path, "bad PLY list property '" + line + "'");
      } else if (!ParsePlyType(type, property.type)) {
        throw BadInput(m_path, "unknown PLY property type '" + type + "'");
      }
      words >> property.name;
      elements.back().properties.push_back(property);
    } else {
      throw BadInput(m_path, "unknown PLY header line '" + line + "'");
    }
  }
  if (!haveFormat) throw BadInput(m_path, "PLY header without a format line");

  // Refuse counts the file cannot hold before allocating for them: every
  // binary element takes at least the bytes of its scalars and list counts,
  // every ASCII value at least a digit and a separator.
  const std::uint64_t dataBytes = fileSize - static_cast<std::uint64_t>(in.tellg());
  for (const auto& element : elements) {
    std::uint64_t least = 0;
    for (const auto& p : element.properties)
      least += encoding == PlyEncoding::kAscii ? 2 : p.isList ? p.countType.bytes : p.type.bytes;
    if (least == 0) least = 1;
    if (static_cast<std::uint64_t>(element.count) > dataBytes / least)
      throw BadInput(m_path, "file size does not match its header (" + std::to_string(element.count) + " " +
                                 element.name + " elements in " + std::to_string(dataBytes) + " data bytes)");
  }

  PlyScalars scalars(in, encoding, m_path);
  std::int64_t vertexCount = -1;
  for (const auto& element : elements) {
    if (element.name == "vertex") {
      int slot[3] = {-1, -1, -1};
      for (size_t i = 0; i < element.properties.size(); ++i) {
        const auto& name = element.properties[i].name;
        if (name == "x") slot[0] = static_cast<int>(i);
        if (name == "y") slot[1] = static_cast<int>(i);
        if (name == "z") slot[2] = static_cast<int>(i);
      }
      if (slot[0] < 0 || slot[1] < 0 || slot[2] < 0) throw BadInput(m_path, "PLY vertices without x, y and z");
      vertexCount = element.count;
      m_vertices.resize(static_cast<size_t>(element.count) * 3);
      for (std::int64_t v = 0; v < element.count; ++v)
        for (size_t i = 0; i < element.properties.size(); ++i) {
          const auto& p = element.properties[i];
          if (p.isList) {
            const auto n = static_cast<std::int64_t>(scalars.Read(p.countType));
            for (std::int64_t k = 0; k < n; ++k) scalars.Read(p.type);
            continue;
          }
          const double value = scalars.Read(p.type);
          for (int axis = 0; axis < 3; ++axis)
            if (slot[axis] == static_cast<int>(i)) m_vertices[3 * v + axis] = static_cast<float>(value);
        }
    } else if (element.name == "face") {
      if (vertexCount < 0) throw BadInput(m_path, "PLY faces before vertices are not supported");
      m_faces.reserve(static_cast<size_t>(element.count) * 3);
      for (std::int64_t f = 0; f < element.count; ++f)
        for (const auto& p : element.properties) {
          if (!p.isList) {
            scalars.Read(p.type);
            continue;
          }
          const double n = scalars.Read(p.countType);
          if (n < 0 || n > 1000) throw BadInput(m_path, "PLY face " + std::to_string(f) + " has a bad vertex count");
          std::vector<std::uint32_t> corners(static_cast<size_t>(n));
          for (auto& c : corners) {
            const double index = scalars.Read(p.type);
            if (!(index >= 0 && index < static_cast<double>(vertexCount)))
              throw BadInput(m_path, "PLY face " + std::to_string(f) + " refers to vertex " +
                                         std::to_string(static_cast<long long>(index)) + " of " +
                                         std::to_string(vertexCount));
            c = static_cast<std::uint32_t>(index);
          }
          if (p.name != "vertex_indices" && p.name != "vertex_index") continue;
          // Polygons become fans around their first corner.
          for (size_t k = 1; k + 1 < corners.size(); ++k)
            m_faces.insert(m_faces.end(), {corners[0], corners[k], corners[k + 1]});
        }
    } else {
      for (std::int64_t e = 0; e < element.count; ++e)
        for (const auto& p : element.properties) {
          const auto n = p.isList ? static_cast<std::int64_t>(scalars.Read(p.countType)) : 1;
          for (std::int64_t k = 0; k < n; ++k) scalars.Read(p.type);
        }
    }
  }
  for (size_t t = 0; t < m_faces.size(); t += 3) {
    float c[9];
    for (int k = 0; k < 3; ++k) std::memcpy(c + 3 * k, &m_vertices[3 * static_cast<size_t>(m_faces[t + k])], 12);
    CheckFinite(m_path, c, static_cast<std::int64_t>(t / 3));
  }
}

}  // namespace

std::unique_ptr<TriangleWriter> OpenPlyWriter(const std::filesystem::path& path) {
  return std::make_unique<PlyWriter>(path);
}

std::unique_ptr<TriangleReader> OpenPlyReader(const std::filesystem::path& path) {
  return std::make_unique<PlyReader>(path);
}

}  // namespace relief::tool::detail
