#pragma once

// The files the viewer's page is made of, built into the library: the
// rendering library and its orbit controls (from the system's three.js
// package, found at configure time), the page template and its script.

#include <string_view>

namespace relief::detail {

std::string_view ThreeJsSource();
std::string_view OrbitControlsSource();
std::string_view PageTemplate();  // holds the markers @TITLE@ @THREE@ @CONTROLS@ @VIEWER@ @DATA@
std::string_view PageScript();

}  // namespace relief::detail
