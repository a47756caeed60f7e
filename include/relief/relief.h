#pragma once

// Everything relief exports.

#include "relief/CArchive.h"
#include "relief/CHTriangulation.h"
#include "relief/CImgFromToArray.h"
#include "relief/CMemoryException.h"
#include "relief/CPixelChain.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"
#include "relief/CTimeLogger.h"
#include "relief/MessageBox.h"
#include "relief/NyTriangulationDynamic.h"
#include "relief/NyTriangulationStatic.h"
#include "relief/SSEPoint.h"
#include "relief/SafeMemory.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "relief/TaCSSEVertexContainer.h"
