# Run as a script: cmake -DBUILD_DIR=... -DVERSION=... -DOUTPUT_DIR=... -P Sdk.cmake
# Installs the build, without its debugging information, into
# OUTPUT_DIR/orvane64-sdk-VERSION and zips that folder as
# OUTPUT_DIR/orvane64-sdk-VERSION.zip.
foreach(var BUILD_DIR VERSION OUTPUT_DIR)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "Sdk.cmake needs -D${var}=...")
  endif()
endforeach()

set(name orvane64-sdk-${VERSION})
file(REMOVE_RECURSE ${OUTPUT_DIR}/${name} ${OUTPUT_DIR}/${name}.zip)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${OUTPUT_DIR}/${name} --strip
                OUTPUT_QUIET RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "installing ${BUILD_DIR} into ${OUTPUT_DIR}/${name} failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf ${name}.zip --format=zip ${name}
                WORKING_DIRECTORY ${OUTPUT_DIR} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "zipping ${OUTPUT_DIR}/${name} failed")
endif()
message(STATUS "SDK: ${OUTPUT_DIR}/${name}.zip")
