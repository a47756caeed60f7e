// TaCSSEVertexContainer: fixed capacity, copies, extremes and lookups.

#include <gtest/gtest.h>

#include <cstdint>

#include "polygon_fixtures.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCSSEVertexContainer.h"

using namespace contour_test;

namespace {

SSEPoint V(float x, float y, float z = 0, float w = 0) {
  SSEPoint p;
  p.m = _mm_setr_ps(x, y, z, w);
  return p;
}

bool Same(const SSEPoint& a, const SSEPoint& b) {
  return _mm_movemask_ps(_mm_cmpeq_ps(a.m, b.m)) == 0xF;
}

TEST(VertexContainer, CapacityIsFixed) {
  TaCSSEVertexContainer c(2);
  EXPECT_EQ(c.GetMaxNumVertices(), 2);
  for (float x : {1.0f, 2.0f, 3.0f}) {
    SSEPoint p = V(x, x, x, 7);
    c.AppendVertex(p);
  }
  ASSERT_EQ(c.GetNumVertices(), 2);
  EXPECT_TRUE(Same(c.GetVertex(1), V(2, 2, 2, 7)));  // all four lanes kept
  EXPECT_TRUE(Same(c.GetVertex(2), V(0, 0)));
  EXPECT_EQ(c.GetVertexPtr(2), nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(c.GetVertexPtr(0)) & 15, 0u);
}

TEST(VertexContainer, CreateAndFree) {
  TaCSSEVertexContainer c;
  EXPECT_EQ(c.GetMaxNumVertices(), 0);
  c.CreateVertexArray(-3);
  EXPECT_EQ(c.GetMaxNumVertices(), -3);
  SSEPoint p = V(1, 1);
  c.AppendVertex(p);
  EXPECT_EQ(c.GetNumVertices(), 0);
  c.CreateVertexArray(4);
  c.AppendVertex(p);
  c.CreateVertexArray(4);  // starts over
  EXPECT_EQ(c.GetNumVertices(), 0);
  c.FreeVertices();
  EXPECT_EQ(c.GetMaxNumVertices(), 0);
  EXPECT_EQ(c.GetVertexPtr(0), nullptr);
}

TEST(VertexContainer, ReallocKeepsVertices) {
  TaCSSEVertexContainer c(3);
  for (float x : {1.0f, 2.0f, 3.0f}) {
    SSEPoint p = V(x, 0);
    c.AppendVertex(p);
  }
  c.ReallocSize(10);
  EXPECT_EQ(c.GetMaxNumVertices(), 10);
  ASSERT_EQ(c.GetNumVertices(), 3);
  EXPECT_EQ(c.GetVertex(2).x, 3.0f);
  c.ReallocSize(2);  // shrinking keeps the first two instead of overrunning
  EXPECT_EQ(c.GetNumVertices(), 2);
  EXPECT_EQ(c.GetVertex(1).x, 2.0f);
  c.ReallocSize(0);
  EXPECT_EQ(c.GetMaxNumVertices(), 0);
  EXPECT_EQ(c.GetNumVertices(), 0);
}

TEST(VertexContainer, CopiesAreDeepAndKeepCapacity) {
  TaCSSEVertexContainer a(5);
  SSEPoint p = V(1, 2, 3);
  a.AppendVertex(p);
  TaCSSEVertexContainer b;
  b = a;
  EXPECT_EQ(b.GetMaxNumVertices(), 5);
  EXPECT_EQ(b.GetNumVertices(), 1);
  EXPECT_NE(b.GetVertexPtr(0), a.GetVertexPtr(0));
  b = b;  // self-assignment changes nothing
  EXPECT_EQ(b.GetNumVertices(), 1);
  TaCSSEVertexContainer c(a);
  EXPECT_TRUE(Same(c.GetVertex(0), V(1, 2, 3)));
}

TEST(VertexContainer, AddPolygonDropsBeyondCapacity) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  TaCSSEVertexContainer c(2);
  c.AddPolygon(poly);
  ASSERT_EQ(c.GetNumVertices(), 2);
  EXPECT_TRUE(Same(c.GetVertex(1), V(4, 5, 6, 0)));
}

TEST(VertexContainer, ExtremesAndLookups) {
  TaCSSEVertexContainer c(4);
  EXPECT_TRUE(Same(c.MinPoint(), V(999999.875f, 999999.875f, 999999.875f, 999999.875f)));
  EXPECT_TRUE(Same(c.MaxPoint(), V(-999999.875f, -999999.875f, -999999.875f, -999999.875f)));
  SSEPoint a = V(0, 5, 1, 2), b = V(5, 0, -1, 3);
  c.AppendVertex(a);
  c.AppendVertex(b);
  SSEPoint out;
  EXPECT_EQ(c.MinPointIndex(out), -1);  // min x and min y from different vertices
  EXPECT_TRUE(Same(out, V(0, 0, -1, 2)));
  SSEPoint d = V(-1, -1, 9, 9);
  c.AppendVertex(d);
  EXPECT_EQ(c.MinPointIndex(out), 2);
  EXPECT_EQ(c.MaxPointIndex(out), -1);
  EXPECT_TRUE(Same(out, V(5, 5, 9, 9)));
  SSEPoint q = V(5, 0, 9, 9);
  EXPECT_EQ(c.PointIndex(q), 1);  // z and w not compared
  q = V(5, 0.0001f);
  EXPECT_EQ(c.PointIndex(q), -1);
}

TEST(VertexContainer, ZFromMatrixClamps) {
  CSSEMatrix m;
  m.Create(512, 512);
  m.SetPoint(0, 511, 4.5f);
  m.SetPoint(10, 20, 2.0f);
  TaCSSEVertexContainer c(3);
  SSEPoint a = V(-3.2f, 700.6f, 0, 1), b = V(9.5f, 19.5f, 0);  // (10, 20) after adding 0.5
  c.AppendVertex(a);
  c.AppendVertex(b);
  c.SetVertexZFromMatrix(&m);
  EXPECT_EQ(c.GetVertex(0).z, 4.5f);
  EXPECT_EQ(c.GetVertex(0).w, 1.0f);
  EXPECT_EQ(c.GetVertex(1).z, 2.0f);
  c.SetVertexZFromMatrix(nullptr);
  c.SetZValueInVertex(8, 2);  // within capacity, beyond used
  c.SetZValueInVertex(8, 3);  // beyond capacity: ignored
  EXPECT_EQ(c.GetNumVertices(), 2);
}

TEST(VertexContainer, OffsetAndError) {
  TaCSSEVertexContainer c(2);
  SSEPoint a = V(1, 2, 3, 4), b = V(0.1f, 0, 0, 0);
  c.AppendVertex(a);
  c.AppendVertex(b);
  c.AddOffset(0.2f, -1, 1);
  EXPECT_EQ(c.GetVertex(1).x, static_cast<float>(double(0.1f) + double(0.2f)));
  EXPECT_EQ(c.GetVertex(0).w, 4.0f);
  SSEPoint e = V(1, 1, 1, 100);
  c.AddError(&e);
  EXPECT_TRUE(Same(c.GetVertex(0), V(1.2f + 1, 2, 5, 4)));
  EXPECT_EQ(c.GetVertex(1).z, 2.0f);  // the same vector again, not e + 1
  c.AddError(nullptr);
}

}  // namespace
