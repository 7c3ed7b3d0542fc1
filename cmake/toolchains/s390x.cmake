# z/Architecture (most significant byte first), compiled with Debian's cross compiler, run by qemu.
set(fenletMachine s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
