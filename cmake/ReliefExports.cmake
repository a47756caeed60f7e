# The shared library exports its calling interface and nothing else: a
# linker version script, made from the public headers at configure time,
# keeps every class declared `class RELIEF_API X` (its members, templates
# instantiated on its own members, typeinfo and vtable) and every free
# function declared `RELIEF_API`, and makes the rest local (internal
# helpers, and the standard library's templates instantiated inside relief).
function(relief_export_map target)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/relief/*.h)
  set(classes "")
  set(functions "")
  foreach(header ${headers})
    file(STRINGS ${header} lines REGEX "RELIEF_API")
    foreach(line ${lines})
      if(line MATCHES "(class|struct) RELIEF_API ([A-Za-z_][A-Za-z0-9_]*)")
        list(APPEND classes ${CMAKE_MATCH_2})
      elseif(line MATCHES "RELIEF_API [^(;]*[ *&]([A-Za-z_][A-Za-z0-9_]*)\\(")
        list(APPEND functions ${CMAKE_MATCH_1})
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES classes)
  list(REMOVE_DUPLICATES functions)
  # Patterns on the mangled names: a member of class X starts with
  # _ZN<length>X (_ZNK for const members), its typeinfo, name, vtable and VTT
  # with _ZTI, _ZTS, _ZTV, _ZTT <length>X; a free function f with
  # _Z<length>f. Templates of the standard library start with _ZNSt and stay
  # local even when instantiated on relief's types.
  set(patterns "")
  foreach(c ${classes})
    string(LENGTH ${c} n)
    foreach(prefix _ZN _ZNK _ZTI _ZTS _ZTV _ZTT)
      string(APPEND patterns "    ${prefix}${n}${c}*;\n")
    endforeach()
  endforeach()
  foreach(f ${functions})
    string(LENGTH ${f} n)
    string(APPEND patterns "    _Z${n}${f}*;\n")
  endforeach()
  set(map ${PROJECT_BINARY_DIR}/relief.map)
  file(WRITE ${map}.in "{\n  global:\n${patterns}  local: *;\n};\n")
  configure_file(${map}.in ${map} COPYONLY)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
