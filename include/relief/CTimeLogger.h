#pragma once

#include <cstdint>
#include <string>

#include "relief/Export.h"

// A deliberately silent instrument: code may bracket work with
// SetTimeStampStart / SetTimeStampEnd, but nothing is ever printed or stored
// beyond the start stamp, so instrumented paths cost next to nothing.
class RELIEF_API CTimeLogger {
 public:
  // The name is accepted and discarded.
  explicit CTimeLogger(std::wstring name = std::wstring());

  // Records the current steady-clock time in milliseconds (truncated to 32 bits).
  void SetTimeStampStart();
  // Accepts the message and discards it; reads no clock, writes nothing.
  void SetTimeStampEnd(std::string message);

  // The start stamp of the last SetTimeStampStart (0 before any).
  std::uint32_t GetTimeStampStart() const { return m_nStart; }

  CTimeLogger& operator=(const CTimeLogger&) = default;

 private:
  std::uint32_t m_nStart = 0;
};
