# The daemon's values for what cannot include src/base/bus_endpoint.h: each NAME there becomes
# the variable NAME here (the project's version, the Python client and the man pages are
# configured with them) and a line NAME=VALUE of bus_endpoint.sh in the build folder, which the
# simulated gateway's scripts source. The rows of bus_result_texts become
# bus_result_texts_python (the entries of a Python dict keyed by operation and result, None for
# any operation) and bus_result_texts_man (an scdoc list). Included before project(), so that the
# version is the header's; a name missing from the header stops the configuration rather than
# leave a stale value.
set(bus_endpoint_header ${CMAKE_CURRENT_LIST_DIR}/../src/base/bus_endpoint.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${bus_endpoint_header})
file(READ ${bus_endpoint_header} bus_endpoint_text)

set(bus_endpoint_shell "# The daemon's bus endpoint, from src/base/bus_endpoint.h.\n")
foreach(name vexacsd_version bus_endpoint_name BUS_OP_RCI BUS_OP_REGISTER BUS_OP_UNREGISTER
             BUS_OP_ECHO BUS_OP_WRITE_CONFIG BUS_OP_READ_CONFIG RCI_NO_CONTENT RCI_WRONG_ROOT
             RCI_NO_BUFFER RCI_NOT_WELL_FORMED REGISTRY_TAKEN REGISTRY_NO_MEMORY BUS_RESULT_FAILED
             BUS_RESULT_TOO_LARGE BUS_ANY_OP bus_forward_timeout_ms client_timeout_ms
             cloud_connector_uid cloud_connector_gid)
  if(NOT bus_endpoint_text MATCHES "[^A-Za-z0-9_]${name}(\\[\\])? = \"?([-A-Za-z0-9_.]+)\"?[,;]")
    message(FATAL_ERROR "${bus_endpoint_header} defines no ${name}")
  endif()
  set(${name} ${CMAKE_MATCH_2})
  string(APPEND bus_endpoint_shell "${name}=${CMAKE_MATCH_2}\n")
endforeach()
math(EXPR bus_forward_timeout_s "${bus_forward_timeout_ms} / 1000")
math(EXPR client_timeout_s "${client_timeout_ms} / 1000")
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/bus_endpoint.sh CONTENT "${bus_endpoint_shell}")

set(result_row "bus_result_text{\\.op = ([A-Z_]+), \\.result = ([A-Z_]+), \\.text = \"([^\"]*)\"}")
string(REGEX MATCHALL "${result_row}" result_rows "${bus_endpoint_text}")
if(NOT result_rows)
  message(FATAL_ERROR "${bus_endpoint_header} has no bus_result_texts rows")
endif()
set(bus_result_texts_python "")
set(bus_result_texts_man "")
foreach(row ${result_rows})
  string(REGEX MATCH "${result_row}" row "${row}")
  set(op ${${CMAKE_MATCH_1}})
  set(result ${${CMAKE_MATCH_2}})
  set(text ${CMAKE_MATCH_3})
  if(op STREQUAL "" OR result STREQUAL "")
    message(FATAL_ERROR "${bus_endpoint_header}: a result row names an unknown value: ${row}")
  endif()
  if(op EQUAL BUS_ANY_OP)
    string(APPEND bus_result_texts_python "    (None, ${result}): \"${text}\",\n")
    string(APPEND bus_result_texts_man "*${result}* (any operation)\n\t${text}\n\n")
  else()
    string(APPEND bus_result_texts_python "    (${op}, ${result}): \"${text}\",\n")
    string(APPEND bus_result_texts_man "*${result}* (operation ${op})\n\t${text}\n\n")
  endif()
endforeach()
string(STRIP "${bus_result_texts_python}" bus_result_texts_python)
string(STRIP "${bus_result_texts_man}" bus_result_texts_man)
