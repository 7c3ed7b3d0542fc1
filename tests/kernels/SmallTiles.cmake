# Kernels with tiles of a few lanes, so that short tests reach every boundary between tiles.
include_guard()

# fenlet_add_small_tile_kernels(name source) compiles src/<source> once for each length, in the
# namespaces Fenlet::Tiles1, Tiles2, Tiles3 and Tiles7. The object libraries are <name>_tiles1 to
# <name>_tiles7.
function(fenlet_add_small_tile_kernels name source)
  foreach(lanes 1 2 3 7)
    set(kernels ${name}_tiles${lanes})
    add_library(${kernels} OBJECT ${PROJECT_SOURCE_DIR}/src/${source})
    fenlet_target_defaults(${kernels})
    target_include_directories(${kernels}
      PRIVATE $<TARGET_PROPERTY:fenletexec_objects,INTERFACE_INCLUDE_DIRECTORIES>)
    target_compile_definitions(${kernels}
      PRIVATE $<TARGET_PROPERTY:fenletexec_objects,INTERFACE_COMPILE_DEFINITIONS>
              FENLET_TARGET=Tiles${lanes} FENLET_TILE_LANES=${lanes})
    target_compile_options(${kernels}
      PRIVATE $<TARGET_PROPERTY:fenletexec_kernels_baseline,COMPILE_OPTIONS>)
  endforeach()
endfunction()
