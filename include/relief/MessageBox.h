#pragma once

#include <functional>
#include <string>

#include "relief/Export.h"

// The library shows two informational messages (octree creation and the
// lifted Delaunay timing). They go to a replaceable sink: by default the text
// and a newline are written to stderr. Passing an empty function restores the
// default. The sink is process-wide; set it before using the library from
// several threads.
RELIEF_API void SetMessageBoxHandler(std::function<void(const std::string&)> handler);

// Sends one message to the current sink.
RELIEF_API void ShowMessageBox(const std::string& text);
