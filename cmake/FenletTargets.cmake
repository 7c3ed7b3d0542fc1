# What every target of the project is built with. Set per target, never globally: a parent project
# that adds this one as a subdirectory keeps its own flags.

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
    # Every operation rounds by itself, in whatever mood a parent project's flags are: a fused
    # multiply-add or a reordered sum would change results. The order of the two matters to clang.
    -fno-fast-math -ffp-contract=off
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wdouble-promotion
    # As strictly as for a processor that cannot read across alignments, and from any compiler.
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wcast-align=strict,-Wcast-align>)
  # With -ffast-math some compilers link code in that flushes the smallest numbers to zero, for the
  # whole process and from the moment that the library is loaded.
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

# A library of the project: shared or static as BUILD_SHARED_LIBS says.
function(fenlet_library_defaults target static_definition)
  fenlet_target_defaults(${target})
  if(FENLET_COVERAGE)
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping)
  endif()
  # Before 1.0 every minor version may break what is built against the one before.
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    # Installed libraries find each other in their own folder, wherever that is.
    INSTALL_RPATH $ORIGIN)
  get_target_property(type ${target} TYPE)
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC ${static_definition})
  elseif(type STREQUAL "SHARED_LIBRARY")
    # Templates of the standard library carry default visibility; the map keeps them in.
    set(map ${PROJECT_SOURCE_DIR}/cmake/fenlet.map)
    # A library calls its own functions straight, whatever else a process has by their names.
    target_link_options(${target} PRIVATE LINKER:--version-script=${map},-Bsymbolic-functions)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  endif()
endfunction()
