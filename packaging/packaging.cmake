# CPack's description of the two Debian packages. Their run-time dependencies are written out:
# dpkg-shlibdeps cannot see the stand-ins, which come from the other package or from the maker.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexacsd)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "vexacsd maintainers <maintainers@vexacsd.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL daemon sim)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING)
  # Debian's name of the target architecture, from the cross compiler's triplet.
  execute_process(COMMAND dpkg-architecture -qDEB_HOST_ARCH -t ${VEXA_CROSS_TRIPLET}
   OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE
   ERROR_QUIET)
endif()

set(runtime "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 12)")

set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME vexacsd)
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS
  "${runtime}, libxml2 (>= 2.9.14), libpam0g (>= 0.99.7.1), adduser, vexacsd-platform-sim (= ${PROJECT_VERSION}) | vexa-platform")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SUGGESTS python3)
set(CPACK_COMPONENT_DAEMON_DESCRIPTION "configuration and state daemon of the gateway
vexacsd owns the gateway's configuration, kept as XML documents on flash, and
answers RCI requests that arrive on the local message bus from the cloud
connector and from local scripts. It runs as a privileged parent and an
unprivileged engine.
.
The package holds the daemon, its init script, schemas, descriptors and PAM
service, the command-line client rci and the Python module vexacs.")
configure_file(debian/conffiles.in debian/daemon/conffiles @ONLY)
foreach(script postinst prerm postrm)
  file(COPY debian/${script} DESTINATION debian/daemon)
endforeach()
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_BINARY_DIR}/debian/daemon/conffiles ${CMAKE_CURRENT_BINARY_DIR}/debian/daemon/postinst
  ${CMAKE_CURRENT_BINARY_DIR}/debian/daemon/prerm ${CMAKE_CURRENT_BINARY_DIR}/debian/daemon/postrm)

set(CPACK_DEBIAN_SIM_PACKAGE_NAME vexacsd-platform-sim)
set(CPACK_DEBIAN_SIM_PACKAGE_DEPENDS "${runtime}")
set(CPACK_DEBIAN_SIM_PACKAGE_PROVIDES vexa-platform)
set(CPACK_DEBIAN_SIM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_SIM_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers)
set(CPACK_COMPONENT_SIM_DESCRIPTION "stand-ins for the gateway maker's platform libraries
Small, deterministic libraries with the interfaces of the maker's message bus,
watchdog supervisor, capability database, cellular manager and the other
platform libraries that vexacsd uses, for machines without the maker's
libraries. They keep their data in files under /etc/vexa/sim.")

include(CPack)
