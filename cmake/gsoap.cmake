# The WS-Discovery readers and writers: soapcpp2 makes them from the schema
# in discovery/ into the build tree, and they are compiled with gSOAP's
# runtime from Debian's source package at the installed soapcpp2's version
# (scripts/bootstrap fetches it). Neither is ever part of the repository.
find_program(ORVANE_SOAPCPP2 soapcpp2 REQUIRED)
execute_process(COMMAND dpkg-query -W -f=\${source:Version} gsoap
                OUTPUT_VARIABLE ORVANE_GSOAP_VERSION OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(ORVANE_GSOAP_RUNTIME /var/cache/orvane/gsoap-${ORVANE_GSOAP_VERSION}
    CACHE PATH "gSOAP runtime sources (stdsoap2.cpp, stdsoap2.h)")
if(NOT EXISTS ${ORVANE_GSOAP_RUNTIME}/stdsoap2.cpp)
  message(FATAL_ERROR "No gSOAP runtime in ${ORVANE_GSOAP_RUNTIME}: run scripts/bootstrap")
endif()

set(ORVANE_GSOAP_SCHEMA ${CMAKE_SOURCE_DIR}/discovery/WSDiscovery.gsoap.h)
set(ORVANE_GSOAP_OUT ${CMAKE_BINARY_DIR}/gsoap)
add_custom_command(
  OUTPUT ${ORVANE_GSOAP_OUT}/WSDC.cpp ${ORVANE_GSOAP_OUT}/WSDH.h ${ORVANE_GSOAP_OUT}/WSDStub.h
  COMMAND ${CMAKE_COMMAND} -E make_directory ${ORVANE_GSOAP_OUT}
  COMMAND ${ORVANE_SOAPCPP2} -2 -C -L -x -w -p WSD -d ${ORVANE_GSOAP_OUT} ${ORVANE_GSOAP_SCHEMA} > ${ORVANE_GSOAP_OUT}/soapcpp2.log
  DEPENDS ${ORVANE_GSOAP_SCHEMA}
  COMMENT "soapcpp2: WS-Discovery readers and writers")

set(ORVANE_GSOAP_SOURCES ${ORVANE_GSOAP_OUT}/WSDC.cpp ${ORVANE_GSOAP_RUNTIME}/stdsoap2.cpp)
# Third-party and generated code: no warnings of ours.
set_source_files_properties(${ORVANE_GSOAP_SOURCES} PROPERTIES COMPILE_OPTIONS "-w")
# No single allocation of the runtime beyond 16 MiB: an HTTP reply that
# claims a body of many gigabytes is refused instead of asked of the
# platform's allocator, which keeps memory back from each such failure.
set_source_files_properties(${ORVANE_GSOAP_RUNTIME}/stdsoap2.cpp PROPERTIES COMPILE_DEFINITIONS
                            "SOAP_MAXALLOCSIZE=16777216")
set(ORVANE_GSOAP_DEFINITIONS WITH_IPV6 WITH_NONAMESPACES)
set(ORVANE_GSOAP_INCLUDES ${ORVANE_GSOAP_OUT} ${ORVANE_GSOAP_RUNTIME})
