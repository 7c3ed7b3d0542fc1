# 64-bit RISC-V, compiled with Debian's cross compiler and run by qemu.
set(fenletMachine riscv64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
