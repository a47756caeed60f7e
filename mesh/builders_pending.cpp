// Placeholders for the builders from polygons, hulls and lifted Delaunay
// results and for the clean-up members, until their implementations land.
// Each builder leaves an empty mesh, so the constructors that call them skip
// their derived-data passes; the clean-up members change nothing.

#include "relief/CHTriangulation.h"

void CHTriangulation::CreateTriangulationFromPolygon(CSSE3dPolygon*, int, float, bool) { FreeTriangulation(); }
void CHTriangulation::CreateSimpleFanTriangulationFromPolygon(CSSE3dPolygon*) { FreeTriangulation(); }
void CHTriangulation::RemoveTrianglesBelowZ(float) {}
void CHTriangulation::RemoveTrianglesAboveZ(float) {}
void CHTriangulation::RemoveTrianglesBetweenZ(float, float) {}
void CHTriangulation::RemoveTrianglesWithSameOrientation() {}
void CHTriangulation::OrientTrianglesTowardsBBoxCenter() {}
