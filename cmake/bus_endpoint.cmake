# The endpoint's values for what cannot include src/base/bus_endpoint.h: each NAME there becomes
# the variable NAME here (the Python client and the man pages are configured with them) and a line
# NAME=VALUE of bus_endpoint.sh in the build folder, which the simulated gateway's scripts source.
# A name missing from the header stops the configuration rather than leave a stale value.
set(bus_endpoint_header ${PROJECT_SOURCE_DIR}/src/base/bus_endpoint.h)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${bus_endpoint_header})
file(READ ${bus_endpoint_header} bus_endpoint_text)
set(bus_endpoint_shell "# The daemon's bus endpoint, from src/base/bus_endpoint.h.\n")
foreach(name bus_endpoint_name BUS_OP_RCI BUS_OP_REGISTER BUS_OP_UNREGISTER BUS_OP_ECHO
             BUS_OP_WRITE_CONFIG BUS_OP_READ_CONFIG cloud_connector_uid cloud_connector_gid)
  if(NOT bus_endpoint_text MATCHES "[^A-Za-z0-9_]${name}(\\[\\])? = \"?([A-Za-z0-9_]+)\"?[,;]")
    message(FATAL_ERROR "${bus_endpoint_header} defines no ${name}")
  endif()
  set(${name} ${CMAKE_MATCH_2})
  string(APPEND bus_endpoint_shell "${name}=${CMAKE_MATCH_2}\n")
endforeach()
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/bus_endpoint.sh CONTENT "${bus_endpoint_shell}")
