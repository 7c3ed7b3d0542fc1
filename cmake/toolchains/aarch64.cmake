# 64-bit Arm, compiled with Debian's cross compiler and run by qemu.
set(fenletMachine aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
