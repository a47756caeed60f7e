// Binary STL: 80 header bytes, a uint32 count, then 50 bytes per triangle
// (normal, three corners, a 16-bit attribute). ASCII STL is read too.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "errors.h"
#include "io/mesh_io.h"
#include "io/text_number.h"

namespace relief::tool::detail {

namespace {

// Keywords compared without case: some exporters write "SOLID", "VERTEX".
bool SameWord(const std::string& word, const char* keyword) {
  return word.size() == std::strlen(keyword) && std::equal(word.begin(), word.end(), keyword, [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

// "solid" after any leading white space, in any case.
bool StartsAsciiStl(const char* head, std::streamsize got) {
  std::streamsize i = 0;
  while (i < got && std::isspace(static_cast<unsigned char>(head[i]))) ++i;
  return got - i >= 5 && SameWord(std::string(head + i, 5), "solid");
}

class StlWriter : public TriangleWriter {
 public:
  explicit StlWriter(const std::filesystem::path& path) : m_out(path) {
    char header[80] = {};
    std::snprintf(header, sizeof header, "binary STL written by relief");
    m_out.Write(header, 80);
    const std::uint32_t zero = 0;
    m_out.Write(&zero, 4);  // patched in Commit
  }
  void Add(const float c[9]) override {
    CheckFiniteOutput(m_out.Target(), c, m_count);
    // Facet normal from the winding; readers mostly recompute it, but a
    // right one costs nothing here.
    const float ux = c[3] - c[0], uy = c[4] - c[1], uz = c[5] - c[2];
    const float vx = c[6] - c[0], vy = c[7] - c[1], vz = c[8] - c[2];
    float n[3] = {uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
    const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (length > 0.0f)
      for (float& v : n) v /= length;
    unsigned char record[50];
    std::memcpy(record, n, 12);
    std::memcpy(record + 12, c, 36);
    record[48] = record[49] = 0;
    m_out.Write(record, 50);
    ++m_count;
  }
  void Commit() override {
    if (m_count > 0xffffffffLL) throw WorkFailed(m_out.Target(), "too many triangles for STL");
    const std::uint32_t count = static_cast<std::uint32_t>(m_count);
    m_out.Patch(80, &count, 4);
    m_out.Commit();
  }

 private:
  BinaryOut m_out;
};

class BinaryStlReader : public TriangleReader {
 public:
  BinaryStlReader(const std::filesystem::path& path, std::int64_t count)
      : m_path(path), m_in(path, std::ios::binary), m_count(count) {
    Rewind();
  }
  bool Next(std::vector<float>& out, std::int64_t maxTriangles) override {
    if (m_next >= m_count) return false;
    const std::int64_t take = std::min(maxTriangles, m_count - m_next);
    std::vector<unsigned char> block(static_cast<size_t>(take) * 50);
    if (!m_in.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(block.size())))
      throw BadInput(m_path, "truncated STL");
    const size_t base = out.size();
    out.resize(base + static_cast<size_t>(take) * 9);
    for (std::int64_t i = 0; i < take; ++i) {
      float* c = out.data() + base + i * 9;
      std::memcpy(c, block.data() + i * 50 + 12, 36);
      CheckFinite(m_path, c, m_next + i);
    }
    m_next += take;
    return true;
  }
  void Rewind() override {
    m_in.clear();
    m_in.seekg(84);
    m_next = 0;
  }
  std::int64_t Count() const override { return m_count; }

 private:
  std::filesystem::path m_path;
  std::ifstream m_in;
  std::int64_t m_count;
  std::int64_t m_next = 0;
};

// ASCII STL is a text format meant for small meshes: it is parsed whole.
class AsciiStlReader : public TriangleReader {
 public:
  explicit AsciiStlReader(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::string word;
    std::vector<float> corner;
    while (in >> word) {
      if (!SameWord(word, "vertex")) continue;
      double v[3];
      if (!(ReadTextNumber(in, v[0]) && ReadTextNumber(in, v[1]) && ReadTextNumber(in, v[2])))
        throw BadInput(path, "corrupt ASCII STL (bad vertex line)");
      for (double c : v) m_corners.push_back(static_cast<float>(c));
    }
    if (m_corners.size() % 9 != 0) throw BadInput(path, "corrupt ASCII STL (facet without three vertices)");
    for (size_t i = 0; i < m_corners.size(); i += 9) CheckFinite(path, &m_corners[i], i / 9);
  }
  bool Next(std::vector<float>& out, std::int64_t maxTriangles) override {
    const size_t left = (m_corners.size() - m_next) / 9;
    if (left == 0) return false;
    const size_t take = std::min<size_t>(left, static_cast<size_t>(maxTriangles));
    out.insert(out.end(), m_corners.begin() + m_next, m_corners.begin() + m_next + take * 9);
    m_next += take * 9;
    return true;
  }
  void Rewind() override { m_next = 0; }
  std::int64_t Count() const override { return static_cast<std::int64_t>(m_corners.size() / 9); }

 private:
  std::vector<float> m_corners;
  size_t m_next = 0;
};

}  // namespace

std::unique_ptr<TriangleWriter> OpenStlWriter(const std::filesystem::path& path) {
  return std::make_unique<StlWriter>(path);
}

std::unique_ptr<TriangleReader> OpenStlReader(const std::filesystem::path& path) {
  const std::uint64_t size = FileSizeOrThrow(path);
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CannotOpen(path);
  char head[84] = {};
  in.read(head, 84);
  const auto got = in.gcount();
  std::uint32_t count = 0;
  if (got == 84) std::memcpy(&count, head + 80, 4);
  // Binary files may start with "solid" too; the size decides.
  if (got == 84 && size == 84 + 50ull * count) return std::make_unique<BinaryStlReader>(path, count);
  if (StartsAsciiStl(head, got) && size < (1u << 30)) return std::make_unique<AsciiStlReader>(path);
  if (got < 84) throw BadInput(path, "truncated STL header (" + std::to_string(size) + " bytes)");
  throw BadInput(path, "file size does not match its header (" + std::to_string(count) + " triangles need " +
                           std::to_string(84 + 50ull * count) + " bytes, file has " + std::to_string(size) + ")");
}

}  // namespace relief::tool::detail
