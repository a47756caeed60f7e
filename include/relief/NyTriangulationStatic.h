#pragma once

#include "relief/Export.h"

// Stand-in for the static mesh type of an external mesh library that relief
// does not link against. It carries nothing: CHTriangulation accepts a pointer
// to it for interface compatibility and reads nothing from it.
class RELIEF_API NyTriangulationStatic {};
