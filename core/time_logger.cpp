#include <chrono>

#include "relief/CTimeLogger.h"

CTimeLogger::CTimeLogger(std::wstring) {}

void CTimeLogger::SetTimeStampStart() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  m_nStart = static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void CTimeLogger::SetTimeStampEnd(std::string) {}
