// CPixelChain: the pixel sequence and its text export.

#include <cstdio>

#include "relief/CPixelChain.h"

bool CPixelChain::GetPixel(int k, int& x, int& y) const {
  if (k < 0 || k >= GetCount()) return false;
  x = m_Pixels[k].x;
  y = m_Pixels[k].y;
  return true;
}

bool CPixelChain::GetPixel(int k, int& x, int& y, float& value) const {
  if (!GetPixel(k, x, y)) return false;
  value = m_Pixels[k].value;
  return true;
}

float CPixelChain::GetValue(int k) const { return k >= 0 && k < GetCount() ? m_Pixels[k].value : 0.0f; }

void CPixelChain::Reserve(int n) {
  if (n > 0) m_Pixels.reserve(static_cast<std::size_t>(n));
}

bool CPixelChain::ExportToTextFile(const std::filesystem::path& path) const {
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) return false;
  bool ok = std::fputs("Index\tXPos\tYPos\tValue\n", f) >= 0;
  for (int k = 0; ok && k < GetCount(); ++k)
    ok = std::fprintf(f, "%d\t%d\t%d\t%f\n", k, m_Pixels[k].x, m_Pixels[k].y, m_Pixels[k].value) > 0;
  // A failed close means buffered lines never reached the file.
  if (std::fclose(f) != 0) ok = false;
  return ok;
}

bool CPixelChain::ExportToDirectory(const std::filesystem::path& directory, const std::string& fileName) const {
  if (fileName.empty()) return false;
  std::error_code error;
  if (!std::filesystem::is_directory(directory, error)) return false;
  return ExportToTextFile(directory / fileName);
}
