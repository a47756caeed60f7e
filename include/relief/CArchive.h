#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <vector>

#include "relief/Export.h"

// Raised by CArchive: reading past the end of the stream (endOfFile), using an
// archive in the wrong direction (readOnly: writing to a loading archive;
// writeOnly: reading from a storing one), or a stream that refuses to write
// (genericException).
class RELIEF_API CArchiveException : public std::runtime_error {
 public:
  enum Cause { none, genericException, readOnly, endOfFile, writeOnly, badIndex, badClass, badSchema };

  explicit CArchiveException(Cause cause);

  Cause m_cause;
};

// A little-endian binary archive over a std::ostream (storing) or a
// std::istream (loading). Values are buffered in 4 KiB blocks; a storing
// archive flushes on Flush, Close and destruction. A loading archive never
// reads past the end: a short read throws CArchiveException(endOfFile), and
// on Close/destruction it hands unread buffered bytes back to a seekable
// stream, so the stream's position is just past what was consumed.
//
// The archive does not own its stream; the stream must outlive it.
class RELIEF_API CArchive {
 public:
  enum Mode { store = 0, load = 1 };

  explicit CArchive(std::ostream& out);
  explicit CArchive(std::istream& in);
  ~CArchive();

  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  bool IsStoring() const { return m_out != nullptr; }
  bool IsLoading() const { return m_in != nullptr; }

  CArchive& operator<<(std::int32_t value);
  CArchive& operator<<(float value);
  CArchive& operator<<(char value);
  CArchive& operator>>(std::int32_t& value);
  CArchive& operator>>(float& value);
  CArchive& operator>>(char& value);

  // Writes count raw bytes.
  void Write(const void* data, std::size_t count);
  // Reads exactly count bytes or throws CArchiveException(endOfFile); bytes
  // before the end have then been stored in data.
  void Read(void* data, std::size_t count);

  // Bytes a loading archive can still deliver, or -1 when the stream cannot
  // tell (not seekable). Loaders use it to refuse sizes that the stream cannot
  // hold before allocating for them.
  std::int64_t GetRemainingBytes();

  // Storing: pushes buffered bytes to the stream. Loading: no effect.
  void Flush();
  // Flushes (storing) or returns unread bytes to the stream (loading); the
  // archive is unusable afterwards.
  void Close();

 private:
  void RequireStoring() const;
  void RequireLoading() const;
  void FillBuffer();

  std::ostream* m_out = nullptr;
  std::istream* m_in = nullptr;
  std::vector<char> m_buffer;
  std::size_t m_pos = 0;  // next byte to read (loading) or write (storing)
  std::size_t m_end = 0;  // loading: bytes valid in m_buffer
  bool m_closed = false;
};
