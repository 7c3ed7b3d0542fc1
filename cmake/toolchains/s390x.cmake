# z/Architecture, a big-endian machine, compiled with Debian's cross compiler and run by qemu.
set(fenletMachine s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
