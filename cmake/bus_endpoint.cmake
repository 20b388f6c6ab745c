# The endpoint's values for what cannot include src/base/bus_endpoint.h: each NAME there becomes
# the variable NAME here (the Python client is configured with them), and the cloud connector's
# identity is written to cloud_connector.sh in the build folder for the simulated gateway's
# scripts. A name missing from the header stops the configuration rather than leave a stale value.
set(bus_endpoint_header ${PROJECT_SOURCE_DIR}/src/base/bus_endpoint.h)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${bus_endpoint_header})
file(READ ${bus_endpoint_header} bus_endpoint_text)
foreach(name bus_endpoint_name BUS_OP_RCI BUS_OP_REGISTER cloud_connector_uid cloud_connector_gid)
  if(NOT bus_endpoint_text MATCHES "[^A-Za-z0-9_]${name}(\\[\\])? = \"?([A-Za-z0-9_]+)\"?[,;]")
    message(FATAL_ERROR "${bus_endpoint_header} defines no ${name}")
  endif()
  set(${name} ${CMAKE_MATCH_2})
endforeach()

file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/cloud_connector.sh @ONLY CONTENT
"# The cloud connector's identity, from src/base/bus_endpoint.h.
cloud_connector_uid=@cloud_connector_uid@
cloud_connector_gid=@cloud_connector_gid@
")
