# The debug viewer's page inlines three.js and its orbit controls, taken from
# Debian's libjs-three at build time (RELIEF_THREE_DIR points elsewhere, e.g.
# at an npm package's folder). The library embeds the files, so a page works
# offline and the installed library needs nothing at run time.
set(RELIEF_THREE_DIR "/usr/share/javascript/three" CACHE PATH "Folder holding three.min.js (libjs-three)")

function(relief_viewer_assets target)
  find_file(RELIEF_THREE_JS three.min.js PATHS ${RELIEF_THREE_DIR} ${RELIEF_THREE_DIR}/build NO_DEFAULT_PATH)
  find_file(RELIEF_ORBIT_CONTROLS_JS OrbitControls.js PATHS ${RELIEF_THREE_DIR}/examples/js/controls NO_DEFAULT_PATH)
  if(NOT RELIEF_THREE_JS OR NOT RELIEF_ORBIT_CONTROLS_JS)
    message(FATAL_ERROR "relief: three.min.js and examples/js/controls/OrbitControls.js not found under "
                        "${RELIEF_THREE_DIR}: install Debian's libjs-three or set RELIEF_THREE_DIR")
  endif()
  set(assets ${PROJECT_SOURCE_DIR}/viewer/page_assets.cpp)
  set_source_files_properties(${assets} PROPERTIES
    COMPILE_DEFINITIONS "RELIEF_THREE_JS=\"${RELIEF_THREE_JS}\";RELIEF_ORBIT_CONTROLS_JS=\"${RELIEF_ORBIT_CONTROLS_JS}\";RELIEF_VIEWER_DIR=\"${PROJECT_SOURCE_DIR}/viewer\""
    OBJECT_DEPENDS "${RELIEF_THREE_JS};${RELIEF_ORBIT_CONTROLS_JS};${PROJECT_SOURCE_DIR}/viewer/page.html;${PROJECT_SOURCE_DIR}/viewer/page.js")
endfunction()
