# What Debian's cross compilers have in common. A toolchain file sets fenletMachine, as the compiler
# and qemu name it, and includes this one.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${fenletMachine})
set(CMAKE_CXX_COMPILER ${fenletMachine}-linux-gnu-g++)

# Its C library, and nothing that was installed for the machine that compiles.
set(fenletRoot /usr/${fenletMachine}-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${fenletRoot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${fenletMachine} -L ${fenletRoot})
