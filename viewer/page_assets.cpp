#include "viewer/page_assets.h"

// The assets are pulled in whole by the assembler, so the library carries
// them without a generated source file; the build names their paths. Each
// blob is followed by its end label, giving its size without a terminator.
#define RELIEF_EMBED(name, path)                                                       \
  asm(".section .rodata\n"                                                             \
      ".balign 16\n"                                                                   \
      ".hidden relief_asset_" #name "_begin\n"                                        \
      ".hidden relief_asset_" #name "_end\n"                                          \
      "relief_asset_" #name "_begin:\n"                                               \
      ".incbin \"" path "\"\n"                                                         \
      "relief_asset_" #name "_end:\n"                                                 \
      ".byte 0\n"                                                                      \
      ".previous\n");                                                                  \
  extern "C" const char relief_asset_##name##_begin[];                                \
  extern "C" const char relief_asset_##name##_end[];

RELIEF_EMBED(three, RELIEF_THREE_JS)
RELIEF_EMBED(controls, RELIEF_ORBIT_CONTROLS_JS)
RELIEF_EMBED(page, RELIEF_VIEWER_DIR "/page.html")
RELIEF_EMBED(script, RELIEF_VIEWER_DIR "/page.js")

namespace relief::detail {

#define RELIEF_ASSET_VIEW(name) \
  std::string_view(relief_asset_##name##_begin, std::size_t(relief_asset_##name##_end - relief_asset_##name##_begin))

std::string_view ThreeJsSource() { return RELIEF_ASSET_VIEW(three); }
std::string_view OrbitControlsSource() { return RELIEF_ASSET_VIEW(controls); }
std::string_view PageTemplate() { return RELIEF_ASSET_VIEW(page); }
std::string_view PageScript() { return RELIEF_ASSET_VIEW(script); }

}  // namespace relief::detail
