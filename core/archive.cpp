#include "relief/CArchive.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <ostream>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "archive records are little-endian and copied as they lie in memory");

namespace {
constexpr std::size_t kBufferSize = 4096;

const char* CauseText(CArchiveException::Cause cause) {
  switch (cause) {
    case CArchiveException::endOfFile: return "archive: attempt to read past the end of the stream";
    case CArchiveException::readOnly: return "archive: attempt to write to a loading archive";
    case CArchiveException::writeOnly: return "archive: attempt to read from a storing archive";
    case CArchiveException::genericException: return "archive: the stream failed";
    default: return "archive: error";
  }
}
}  // namespace

CArchiveException::CArchiveException(Cause cause) : std::runtime_error(CauseText(cause)), m_cause(cause) {}

CArchive::CArchive(std::ostream& out) : m_out(&out), m_buffer(kBufferSize) {}
CArchive::CArchive(std::istream& in) : m_in(&in), m_buffer(kBufferSize) {}

CArchive::~CArchive() {
  try {
    Close();
  } catch (...) {
    // A destructor must not throw; callers who care about write errors call Close.
  }
}

void CArchive::RequireStoring() const {
  if (!m_out || m_closed) throw CArchiveException(CArchiveException::readOnly);
}

void CArchive::RequireLoading() const {
  if (!m_in || m_closed) throw CArchiveException(CArchiveException::writeOnly);
}

void CArchive::Write(const void* data, std::size_t count) {
  RequireStoring();
  const char* bytes = static_cast<const char*>(data);
  if (m_pos + count <= m_buffer.size()) {
    std::memcpy(m_buffer.data() + m_pos, bytes, count);
    m_pos += count;
    return;
  }
  Flush();
  if (count >= m_buffer.size()) {
    if (!m_out->write(bytes, static_cast<std::streamsize>(count)))
      throw CArchiveException(CArchiveException::genericException);
    return;
  }
  std::memcpy(m_buffer.data(), bytes, count);
  m_pos = count;
}

void CArchive::FillBuffer() {
  m_in->read(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
  m_end = static_cast<std::size_t>(m_in->gcount());
  m_pos = 0;
}

void CArchive::Read(void* data, std::size_t count) {
  RequireLoading();
  char* bytes = static_cast<char*>(data);
  while (count > 0) {
    if (m_pos == m_end) {
      if (count >= m_buffer.size()) {  // large blocks go straight to the caller
        m_in->read(bytes, static_cast<std::streamsize>(count));
        const auto got = static_cast<std::size_t>(m_in->gcount());
        if (got < count) throw CArchiveException(CArchiveException::endOfFile);
        return;
      }
      FillBuffer();
      if (m_end == 0) throw CArchiveException(CArchiveException::endOfFile);
    }
    const std::size_t n = std::min(count, m_end - m_pos);
    std::memcpy(bytes, m_buffer.data() + m_pos, n);
    m_pos += n;
    bytes += n;
    count -= n;
  }
}

std::int64_t CArchive::GetRemainingBytes() {
  RequireLoading();
  const std::size_t buffered = m_end - m_pos;
  if (m_in->eof()) return static_cast<std::int64_t>(buffered);
  const std::istream::pos_type here = m_in->tellg();
  if (here == std::istream::pos_type(-1)) return -1;
  m_in->seekg(0, std::ios::end);
  const std::istream::pos_type end = m_in->tellg();
  m_in->seekg(here);
  if (end == std::istream::pos_type(-1) || !*m_in) {
    m_in->clear();
    m_in->seekg(here);
    return -1;
  }
  return static_cast<std::int64_t>(end - here) + static_cast<std::int64_t>(buffered);
}

void CArchive::Flush() {
  if (!m_out || m_closed || m_pos == 0) return;
  if (!m_out->write(m_buffer.data(), static_cast<std::streamsize>(m_pos)))
    throw CArchiveException(CArchiveException::genericException);
  m_pos = 0;
}

void CArchive::Close() {
  if (m_closed) return;
  if (m_out) {
    Flush();
    m_out->flush();
  } else if (m_in && m_end > m_pos) {
    // Give read-ahead back so the stream stands just past the consumed record.
    m_in->clear();
    m_in->seekg(-static_cast<std::streamoff>(m_end - m_pos), std::ios::cur);
    m_in->clear();
  }
  m_closed = true;
}

CArchive& CArchive::operator<<(std::int32_t value) { Write(&value, sizeof value); return *this; }
CArchive& CArchive::operator<<(float value) { Write(&value, sizeof value); return *this; }
CArchive& CArchive::operator<<(char value) { Write(&value, sizeof value); return *this; }
CArchive& CArchive::operator>>(std::int32_t& value) { Read(&value, sizeof value); return *this; }
CArchive& CArchive::operator>>(float& value) { Read(&value, sizeof value); return *this; }
CArchive& CArchive::operator>>(char& value) { Read(&value, sizeof value); return *this; }
