#pragma once

#include <new>

#include "relief/Export.h"

// Raised wherever an allocation fails or a requested size is impossible
// (negative, or beyond a class's documented limit). Derives from
// std::bad_alloc so that callers who already guard against exhaustion with
// `catch (const std::bad_alloc&)` catch it too.
class RELIEF_API CMemoryException : public std::bad_alloc {
 public:
  const char* what() const noexcept override;
};

// Throws CMemoryException. Kept out of line so that hot paths that can fail
// carry only a call, not the exception's construction.
[[noreturn]] RELIEF_API void AfxThrowMemoryException();
