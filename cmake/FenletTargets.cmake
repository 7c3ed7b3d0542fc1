# The options of every target of the project. They are set for each target and never globally, so
# that a parent project that adds this one as a subdirectory keeps its own flags.

function(fenlet_target_defaults target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    UNITY_BUILD OFF
    COMPILE_WARNING_AS_ERROR ${PROJECT_IS_TOP_LEVEL})
  target_compile_options(${target} PRIVATE
    # Every operation must round separately, whatever flags a parent project sets: a fused
    # multiply-add or a reordered sum would change results. For clang, the order of these two
    # options matters.
    -fno-fast-math -ffp-contract=off
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wdouble-promotion
    # Warn as for a processor that cannot access unaligned memory, with either compiler.
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wcast-align=strict,-Wcast-align>)
  # With -ffast-math some compilers link startup code that flushes subnormal numbers to zero in the
  # whole process.
  target_link_options(${target} PRIVATE -fno-fast-math)
  if(FENLET_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${FENLET_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    target_link_options(${target} PRIVATE -fsanitize=${FENLET_SANITIZE})
  endif()
  if(FENLET_COVERAGE)
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
  endif()
endfunction()

# The options of a library. BUILD_SHARED_LIBS decides whether it is shared or static.
function(fenlet_library_defaults target static_definition)
  fenlet_target_defaults(${target})
  if(FENLET_COVERAGE)
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping)
  endif()
  # Before version 1.0, each minor version may change the binary interface.
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    # Installed libraries find each other in their own folder.
    INSTALL_RPATH $ORIGIN)
  get_target_property(type ${target} TYPE)
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC ${static_definition})
  elseif(type STREQUAL "SHARED_LIBRARY")
    # The map hides instances of the standard library's templates, which have default visibility.
    set(map ${PROJECT_SOURCE_DIR}/cmake/fenlet.map)
    # With this option, a library always calls its own functions, even if the process has others
    # with the same names.
    target_link_options(${target} PRIVATE LINKER:--version-script=${map},-Bsymbolic-functions)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  endif()
endfunction()
