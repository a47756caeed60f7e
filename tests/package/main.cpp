// Uses a few exported classes through the installed headers only.
#include <cstdio>
#include <sstream>

#include <relief/relief.h>

int main() {
  CSSEMatrix m;
  m.Create(16, 16);
  m.Fill(2.0f);
  m.TresholdAbove(1.0f, 3.0f);
  const SSEPoint a = {_mm_setr_ps(3, 4, 0, 0)};
  std::ostringstream out;
  {
    CArchive ar(out);
    ar << 42;
  }
  const bool ok = m.NumValuesAbove(2.5f) == 16 * 20 && CSSEFns::vectorlen(a.m) == 5.0f && out.str().size() == 4;
  std::printf("consumer: %s\n", ok ? "ok" : "FAILED");
  return ok ? 0 : 1;
}
