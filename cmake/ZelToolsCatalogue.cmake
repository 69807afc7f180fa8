# The library's own message catalogue, compiled from the resource scripts in
# zeltools/resources/ when the library is built, so that no file is needed at
# run time.
#
# On Windows the scripts become string resources of the library's module (the
# DLL, or the executable a static library is linked into), compiled by the
# resource compiler. The compiled object gets the symbol
# zel_catalogue_resources, which zeltools/errors/catalogue.cpp names, so that
# a static library's resources reach every program that reads the catalogue.
#
# Elsewhere zel_rc_compile, a host program built on the library's bottom
# layers (the objects of zeltools_base: the platform and the script reader),
# turns the scripts into the constant rows that zeltools/errors/catalogue.cpp
# includes. The same program serves zel_add_string_tables
# (ZelStringTables.cmake) for applications.

include(${CMAKE_CURRENT_LIST_DIR}/ZelStringTables.cmake)
file(GLOB ZEL_CATALOGUE_SCRIPTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/zeltools/resources/*.rc)

if(WIN32)
  zel_string_table_rc_options(zel_catalogue_rc_options)
  set(zel_catalogue_script ${PROJECT_BINARY_DIR}/generated/zeltools_catalogue.rc)
  set(zel_catalogue_object ${PROJECT_BINARY_DIR}/generated/zeltools_catalogue_rc.obj)
  set(zel_catalogue_includes "// Generated: the library's catalogue scripts, compiled as one.\n")
  foreach(script IN LISTS ZEL_CATALOGUE_SCRIPTS)
    string(APPEND zel_catalogue_includes "#include \"${script}\"\n")
  endforeach()
  file(CONFIGURE OUTPUT ${zel_catalogue_script} CONTENT "${zel_catalogue_includes}")
  add_custom_command(
    OUTPUT ${zel_catalogue_object}
    COMMAND ${CMAKE_RC_COMPILER} ${zel_catalogue_rc_options} -O coff -i ${zel_catalogue_script} -o ${zel_catalogue_object}.tmp
    COMMAND ${CMAKE_OBJCOPY} --add-symbol zel_catalogue_resources=.rsrc:0,global ${zel_catalogue_object}.tmp ${zel_catalogue_object}
    DEPENDS ${zel_catalogue_script} ${ZEL_CATALOGUE_SCRIPTS}
    COMMENT "Compiling the ZelTools message catalogue into resources"
    VERBATIM)
  set_source_files_properties(${zel_catalogue_object} PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
  target_sources(zeltools PRIVATE ${zel_catalogue_object})
else()
  add_executable(zel_rc_compile ${PROJECT_SOURCE_DIR}/tools/rc_compile/rc_compile.cpp $<TARGET_OBJECTS:zeltools_base>)
  add_executable(ZelTools::rc_compile ALIAS zel_rc_compile)
  set_target_properties(zel_rc_compile PROPERTIES EXPORT_NAME rc_compile)
  target_compile_features(zel_rc_compile PRIVATE cxx_std_17)
  target_include_directories(zel_rc_compile PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(zel_rc_compile PRIVATE ${ZEL_SYSTEM_LIBS})
  zel_strict_warnings(zel_rc_compile)

  set(zel_catalogue_rows ${PROJECT_BINARY_DIR}/generated/zeltools_catalogue_rows.inc)
  add_custom_command(
    OUTPUT ${zel_catalogue_rows}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/generated
    COMMAND zel_rc_compile catalogue ${zel_catalogue_rows} ${ZEL_CATALOGUE_SCRIPTS}
    DEPENDS zel_rc_compile ${ZEL_CATALOGUE_SCRIPTS}
    COMMENT "Compiling the ZelTools message catalogue"
    VERBATIM)
  target_sources(zeltools PRIVATE ${zel_catalogue_rows})
endif()

if(ZELTOOLS_INSTALL)
  if(TARGET zel_rc_compile)
    install(TARGETS zel_rc_compile EXPORT ZelToolsTargets RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/ZelStringTables.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZelTools)
endif()

# A shared object with compiled string tables, for the resource tests; they
# get its path as ZEL_TEST_STRING_TABLES. The test program is made in
# tests/, after this file is read, hence the deferred call.
if(ZELTOOLS_BUILD_TESTS)
  add_library(zel_test_string_tables MODULE)
  zel_add_string_tables(zel_test_string_tables ${PROJECT_SOURCE_DIR}/tests/text/data/module_strings.rc)
  # On Windows it holds resources only, and no source names the linker.
  set_target_properties(zel_test_string_tables PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests
    LINKER_LANGUAGE CXX)
  function(zel_wire_test_string_tables)
    if(TARGET zel_text_tests)
      add_dependencies(zel_text_tests zel_test_string_tables)
      target_compile_definitions(zel_text_tests PRIVATE
        ZEL_TEST_STRING_TABLES="$<TARGET_FILE:zel_test_string_tables>")
    endif()
  endfunction()
  cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL zel_wire_test_string_tables)
endif()
