# What `cmake --install` installs: the libraries, their headers, and the files for
# `find_package(fenletexec)` and pkg-config. Users may move the installed folder.
include(CMakePackageConfigHelpers)

set(fenletPackageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/fenletexec)
set(fenletInstalled fenletir fenletexec)
if(TARGET fenlethosts)
  list(APPEND fenletInstalled fenlethosts)
  install(DIRECTORY hosts/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

if(TARGET fenletarrays)
  list(APPEND fenletInstalled fenletarrays fenletparallel)
  install(DIRECTORY arrays/include/ parallel/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
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

# A .pc file for each library. The paths in it are relative to the .pc file.
set(pcFolder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH fenletPrefixFromPc ${pcFolder} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" fenletPrefixFromPc ${fenletPrefixFromPc})
file(RELATIVE_PATH fenletIncludeFromPrefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
file(RELATIVE_PATH fenletLibFromPrefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})

# fenlet_install_pc(library requires description)
function(fenlet_install_pc library requires description)
  set(definitions)
  set(privateLibs)
  # Users of a static library need its preprocessor definition. They also need the C++ runtime,
  # because a C compiler does not link it.
  if(NOT BUILD_SHARED_LIBS)
    string(TOUPPER ${library} name)
    set(definitions " -D${name}_STATIC")
    if(library STREQUAL fenletparallel AND FENLET_HAVE_TBB)
      set(privateLibs " -ltbb")
    endif()
    foreach(runtime stdc++ c++ m)
      if(runtime IN_LIST CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
        string(APPEND privateLibs " -l${runtime}")
      endif()
    endforeach()
  endif()
  configure_file(cmake/library.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

fenlet_install_pc(fenletir "" "Writes, checks and lists the programs that fenletexec evaluates")
fenlet_install_pc(fenletexec fenletir "${PROJECT_DESCRIPTION}")
if(TARGET fenlethosts)
  fenlet_install_pc(fenlethosts fenletexec "Ready-made fields, uniforms, samplers and sinks for fenletexec")
endif()
if(TARGET fenletarrays)
  fenlet_install_pc(fenletarrays fenlethosts "Runs programs over arrays, in place where they lie")
  fenlet_install_pc(fenletparallel fenletarrays "Runs programs on every core")
endif()
