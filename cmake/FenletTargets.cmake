# What every target of the project is built with. Set per target, never globally: a parent project
# that adds this one as a subdirectory keeps its own flags.

function(fenlet_target_defaults target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  # Every operation rounds by itself: a fused multiply-add would change results.
  target_compile_options(${target} PRIVATE
    -ffp-contract=off
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wundef -Wdouble-promotion)
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(FENLET_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${FENLET_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(${target} PRIVATE -fsanitize=${FENLET_SANITIZE})
  endif()
endfunction()

# A library of the project: shared or static as BUILD_SHARED_LIBS says.
function(fenlet_library_defaults target static_definition)
  fenlet_target_defaults(${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC ${static_definition})
  endif()
endfunction()
