// CSSE3dPolygon: the archive record (int32 count, then per group of four
// points four x, four y, four z as float32).

#include <cstdint>
#include <vector>

#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSE3dPolygon.h"

namespace {

constexpr std::int64_t kBytesPerGroup = 48;  // 3 coordinates x 4 points x 4 bytes

// One group's twelve floats: x of the four points, then y, then z.
struct Group {
  float v[12];
};

}  // namespace

void CSSE3dPolygon::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(m_nNumPoints);
    const float* arrays[3] = {m_pX, m_pY, m_pZ};
    for (int g = 0; g < (m_nNumPoints + 3) / 4; ++g)
      for (const float* a : arrays)
        for (int k = 0; k < 4; ++k) {
          const int i = 4 * g + k;
          ar << (i < m_nNumPoints ? a[i] : 0.0f);  // padding lanes travel as zeros
        }
    return;
  }

  std::int32_t count = 0;
  ar >> count;
  if (count < 0) AfxThrowMemoryException();
  const std::int64_t groups = (static_cast<std::int64_t>(count) + 3) / 4;
  const std::int64_t remaining = ar.GetRemainingBytes();
  if (remaining >= 0 && groups * kBytesPerGroup > remaining) throw CArchiveException(CArchiveException::endOfFile);

  // Read into a buffer first so that a short stream leaves the polygon as it
  // was. When the stream cannot tell its length the buffer grows with what
  // actually arrives, so a forged count cannot make us allocate for it.
  std::vector<Group> read;
  if (remaining >= 0) read.reserve(static_cast<std::size_t>(groups));
  for (std::int64_t g = 0; g < groups; ++g) {
    Group group;
    for (float& v : group.v) ar >> v;
    read.push_back(group);
  }

  Free();
  Create(count);
  for (int i = 0; i < count; ++i) {
    const Group& group = read[i / 4];
    m_pX[i] = group.v[i % 4];
    m_pY[i] = group.v[4 + i % 4];
    m_pZ[i] = group.v[8 + i % 4];
  }
  // The reader has always taken the last point from its predecessor; files
  // written by earlier versions are read with that rule, so keep it.
  if (count >= 2) {
    m_pX[count - 1] = m_pX[count - 2];
    m_pY[count - 1] = m_pY[count - 2];
    m_pZ[count - 1] = m_pZ[count - 2];
  } else if (count == 1) {
    m_pX[0] = m_pY[0] = m_pZ[0] = 0.0f;
  }
  m_bBoundingBoxCalculated = false;
}
