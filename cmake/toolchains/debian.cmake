# The common part of the toolchain files for Debian's cross compilers. A toolchain file sets
# fenletMachine to the name that the compiler and qemu use, and includes this file.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${fenletMachine})
set(CMAKE_CXX_COMPILER ${fenletMachine}-linux-gnu-g++)

# Uses the target's C library, and nothing that is installed for the machine that builds.
set(fenletRoot /usr/${fenletMachine}-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${fenletRoot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${fenletMachine} -L ${fenletRoot})
