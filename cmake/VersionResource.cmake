# orvane_version_resource(TARGET DESCRIPTION): a version resource in the
# target's binary, made from the project's version, so that the DLL and the
# tools always carry the same one.
function(orvane_version_resource target description)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    set(ORVANE_RC_FILETYPE VFT_DLL)
    set(ORVANE_RC_FILENAME ${target}${CMAKE_SHARED_LIBRARY_SUFFIX})
  else()
    set(ORVANE_RC_FILETYPE VFT_APP)
    set(ORVANE_RC_FILENAME ${target}${CMAKE_EXECUTABLE_SUFFIX})
  endif()
  set(ORVANE_RC_DESCRIPTION "${description}")
  set(rc ${CMAKE_BINARY_DIR}/version/${target}.rc)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/VersionInfo.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
endfunction()
