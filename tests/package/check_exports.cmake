# Fails when the shared library exports anything but its calling interface:
# no symbol of relief's internal namespace and no standard-library template
# instantiated inside relief may be visible.
# Usage: cmake -DLIBRARY=path/to/librelief.so -P check_exports.cmake
execute_process(COMMAND nm -D --defined-only -C ${LIBRARY} OUTPUT_VARIABLE symbols RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" symbols "${symbols}")
set(count 0)
foreach(line ${symbols})
  string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" name "${line}")
  if(name MATCHES "^(void |bool |int |float )?(std::|__gnu_cxx::|relief::)")
    message(FATAL_ERROR "exported but internal: ${name}")
  endif()
  math(EXPR count "${count} + 1")
endforeach()
message(STATUS "${count} exported symbols, all of the calling interface")
