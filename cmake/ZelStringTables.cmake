# zel_add_string_tables(<target> <script.rc>...)
#
# Compiles the string tables of the resource scripts into <target>, a shared
# library or module: zel::CResurce, given the file of that shared object,
# reads its messages from them. Relative script paths are taken from the
# current source directory; files the scripts #include are tracked, so an
# edit of one recompiles the tables.
#
# On Windows the scripts are compiled by the resource compiler (GNU windres)
# into string resources of <target>, a DLL, module or executable, with the
# language of each LANGUAGE statement; CResurce reads them as the system's
# string loader does. The scripts are read as Windows-1251 unless they say
# otherwise (#pragma code_page), and the LANG_ and SUBLANG_ names come from the
# system's resource headers, so that scripts need not include them. This file
# enables the RC language, so include it (or find ZelTools) in the top
# directory of the targets that use it.
if(WIN32)
  enable_language(RC)
endif()

# The resource compiler's options for string-table scripts (Windows).
function(zel_string_table_rc_options variable)
  set(${variable} --codepage=1251 --preprocessor-arg=-include --preprocessor-arg=winresrc.h PARENT_SCOPE)
endfunction()

function(zel_add_string_tables target)
  if(NOT ARGN)
    message(FATAL_ERROR "zel_add_string_tables(${target}): no resource script given")
  endif()
  set(scripts)
  foreach(script IN LISTS ARGN)
    get_filename_component(script ${script} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    list(APPEND scripts ${script})
  endforeach()
  if(WIN32)
    zel_string_table_rc_options(options)
    target_sources(${target} PRIVATE ${scripts})
    set_property(SOURCE ${scripts} TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_OPTIONS ${options})
    return()
  endif()
  set(compiler ZelTools::rc_compile)
  get_target_property(aliased ZelTools::rc_compile ALIASED_TARGET)
  if(aliased)
    set(compiler ${aliased})
  endif()
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${target}_string_tables.cpp)
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${compiler}> module ${output} ${scripts} --depfile ${output}.d
    DEPENDS ${compiler} ${scripts}
    DEPFILE ${output}.d
    COMMENT "Compiling the string tables of ${target}"
    VERBATIM)
  target_sources(${target} PRIVATE ${output})
endfunction()
