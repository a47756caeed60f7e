#include "io/obj_reader.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "errors.h"
#include "io/text_number.h"

namespace relief::tool {

std::vector<float> ReadObjTriangles(const std::filesystem::path& path) {
  std::ifstream in(path);
  if (!in) throw CannotOpen(path);
  std::vector<float> vertices, triangles;
  std::string line;
  long long lineNumber = 0;
  while (std::getline(in, line)) {
    ++lineNumber;
    std::istringstream words(line);
    std::string tag;
    words >> tag;
    if (tag == "v") {
      double p[3];
      if (!(ReadTextNumber(words, p[0]) && ReadTextNumber(words, p[1]) && ReadTextNumber(words, p[2])))
        throw BadInput(path, "line " + std::to_string(lineNumber) + ": a vertex needs three coordinates");
      for (double c : p) vertices.push_back(static_cast<float>(c));
    } else if (tag == "f") {
      std::vector<long long> corners;
      std::string corner;
      const long long count = static_cast<long long>(vertices.size() / 3);
      while (words >> corner) {
        char* end = nullptr;
        const long long i = std::strtoll(corner.c_str(), &end, 10);
        const long long index = i > 0 ? i - 1 : count + i;  // negative: relative to the end
        if (end == corner.c_str() || i == 0 || index < 0 || index >= count)
          throw BadInput(path, "line " + std::to_string(lineNumber) + ": face corner " + corner + " names no vertex");
        // A vertex without a finite position is harmless until a face uses it.
        for (int a = 0; a < 3; ++a)
          if (!std::isfinite(vertices[3 * index + a]))
            throw BadInput(path, "line " + std::to_string(lineNumber) + ": face corner " + corner +
                                     " is a vertex with a non-finite coordinate");
        corners.push_back(index);
      }
      for (std::size_t k = 2; k < corners.size(); ++k)
        for (long long c : {corners[0], corners[k - 1], corners[k]})
          triangles.insert(triangles.end(), vertices.begin() + 3 * c, vertices.begin() + 3 * c + 3);
    }
  }
  if (triangles.empty()) throw BadInput(path, "no triangles");
  return triangles;
}

}  // namespace relief::tool
