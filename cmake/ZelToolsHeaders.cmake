# The headers a caller can reach: every public header (the umbrella and the
# subsystem folders, not platform/ or resources/) and, followed through their
# includes, the internal headers they pull in. Only these are installed, so an
# internal header stays private until a public template needs it.
function(zel_reachable_headers out)
  file(GLOB public RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/zeltools/*.h ${PROJECT_SOURCE_DIR}/zeltools/*/*.h)
  list(FILTER public EXCLUDE REGEX "^zeltools/(platform|resources)/")
  set(reached ${public})
  set(todo ${public})
  while(todo)
    list(POP_FRONT todo header)
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} lines REGEX "^#include \"zeltools/")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
      if(NOT included IN_LIST reached)
        list(APPEND reached ${included})
        list(APPEND todo ${included})
      endif()
    endforeach()
  endwhile()
  # A header that gains or loses an include changes the set.
  list(TRANSFORM reached PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE paths)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${paths})
  list(SORT reached)
  set(${out} ${reached} PARENT_SCOPE)
endfunction()
