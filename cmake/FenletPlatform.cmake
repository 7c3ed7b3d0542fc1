# Stops the configuration for compilers and machines that are not supported, because results would
# differ or the build would fail.
include(CheckCXXSourceCompiles)

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$")
  message(FATAL_ERROR "fenletexec needs g++ or clang++, and this is "
                      "${CMAKE_CXX_COMPILER_ID} (${CMAKE_CXX_COMPILER}).")
endif()
set(fenletOldestGNU 12)
set(fenletOldestClang 14)
if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS fenletOldest${CMAKE_CXX_COMPILER_ID})
  message(FATAL_ERROR "fenletexec needs g++ ${fenletOldestGNU} or clang++ ${fenletOldestClang}, or "
                      "later, and this is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} "
                      "(${CMAKE_CXX_COMPILER}).")
endif()
if(NOT CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
  message(FATAL_ERROR "fenletexec needs a system with ELF libraries, which "
                      "${CMAKE_SYSTEM_NAME} does not have.")
endif()

# If a machine computes in registers wider than the type, it rounds twice. A parent project may set
# -ffast-math for its own code; the options of this project's targets turn it off again.
set(CMAKE_REQUIRED_FLAGS -fno-fast-math)
check_cxx_source_compiles("
  #include <cfloat>
  #include <climits>
  #include <limits>
  static_assert(CHAR_BIT == 8 && sizeof(int) == 4 && sizeof(long long) == 8);
  static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);
  static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 16);
  int main() {}" FENLET_ROUNDS_ONCE)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT FENLET_ROUNDS_ONCE)
  message(FATAL_ERROR "fenletexec needs IEEE 754 float and double, each computed in its own "
                      "precision. On 32-bit x86 this needs -msse2 -mfpmath=sse.")
endif()

# On x86-64 there are also kernels for newer processors.
check_cxx_source_compiles("
  #ifndef __x86_64__
  #error
  #endif
  int main() {}" FENLET_X86_SETS)
