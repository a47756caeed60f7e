// CPixelChain: the chain and its text export.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "relief/CPixelChain.h"

namespace {

std::string ReadAll(const std::filesystem::path& p) {
  std::ifstream in(p);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST(PixelChain, AppendReadClear) {
  CPixelChain c;
  c.AppendPixel(3, 4, 0.5f);
  c.AppendPixel(-1, 7, 2.0f);
  ASSERT_EQ(c.GetCount(), 2);
  int x = 0, y = 0;
  float v = 0;
  EXPECT_TRUE(c.GetPixel(1, x, y, v));
  EXPECT_EQ(x, -1);
  EXPECT_EQ(v, 2.0f);
  x = 99;
  EXPECT_FALSE(c.GetPixel(2, x, y));
  EXPECT_FALSE(c.GetPixel(-1, x, y));
  EXPECT_EQ(x, 99);
  c.Clear();
  EXPECT_EQ(c.GetCount(), 0);
}

TEST(PixelChain, TextExport) {
  CPixelChain c;
  c.AppendPixel(3, 4, 0.5f);
  c.AppendPixel(10, -2, 1.25f);
  const auto path = std::filesystem::temp_directory_path() / "relief_pixel_chain_test.txt";
  ASSERT_TRUE(c.ExportToTextFile(path));
  EXPECT_EQ(ReadAll(path), "Index\tXPos\tYPos\tValue\n0\t3\t4\t0.500000\n1\t10\t-2\t1.250000\n");
  std::filesystem::remove(path);
  EXPECT_FALSE(c.ExportToTextFile(std::filesystem::temp_directory_path() / "no_such_dir_relief" / "x.txt"));
}

}  // namespace
