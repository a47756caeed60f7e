#pragma once

// Marks the classes and functions that form relief's calling interface. The
// library is built with hidden visibility, so everything else stays internal.
#if defined(__GNUC__)
#define RELIEF_API __attribute__((visibility("default")))
#else
#define RELIEF_API
#endif
