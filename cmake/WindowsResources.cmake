# vnt_windows_resources(TARGET DESCRIPTION [TOOLKIT]): icon, version information and manifest of a program on
# Windows; with TOOLKIT also what the window's toolkit loads. Nothing elsewhere.

if(WIN32)
  enable_language(RC)
endif()

function(vnt_windows_resources target description)
  if(NOT WIN32)
    return()
  endif()
  set(VNT_RC_TARGET ${target})
  set(VNT_RC_DESCRIPTION "${description}")
  set(VNT_RC_TOOLKIT 0)
  if("TOOLKIT" IN_LIST ARGN)
    set(VNT_RC_TOOLKIT 1)
  endif()
  set(VNT_RC_MANIFEST ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/program.manifest.in ${VNT_RC_MANIFEST} @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/program.rc.in ${rc} @ONLY)
  set_source_files_properties(${rc} PROPERTIES
    OBJECT_DEPENDS "${VNT_RC_MANIFEST};${PROJECT_SOURCE_DIR}/cmake/program.ico")
  target_sources(${target} PRIVATE ${rc})
endfunction()
