# What `cmake --install` puts down: the libraries, their headers, and what `find_package(fenletexec)`
# and pkg-config find. The installed folder may be moved.
include(CMakePackageConfigHelpers)

set(fenletPackageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/fenletexec)
set(fenletInstalled fenletir fenletexec)
if(TARGET fenlethosts)
  list(APPEND fenletInstalled fenlethosts)
  install(DIRECTORY hosts/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

install(TARGETS ${fenletInstalled} EXPORT fenletexecTargets)
install(DIRECTORY include/ fenletir/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT fenletexecTargets NAMESPACE Fenlet:: DESTINATION ${fenletPackageFolder})
configure_package_config_file(cmake/fenletexecConfig.cmake.in fenletexecConfig.cmake
  INSTALL_DESTINATION ${fenletPackageFolder})
write_basic_package_version_file(fenletexecConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fenletexecConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/fenletexecConfigVersion.cmake
  DESTINATION ${fenletPackageFolder})

set(fenletStaticFlags)
if(NOT BUILD_SHARED_LIBS)
  set(fenletStaticFlags " -DFENLETEXEC_STATIC -DFENLETIR_STATIC")
endif()
file(RELATIVE_PATH fenletIncludeFromPc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/fenletexec.pc.in fenletexec.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fenletexec.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
