# Warnings and sanitizers for our own targets only, not for system libraries.
add_library(tallyfin_options INTERFACE)
target_compile_options(tallyfin_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  -ffp-contract=off)  # a fused multiply-add would make the last bit of sums depend on the processor

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 wrongly reports overlapping copies in std::string's operator+ (GCC bug 105651).
  target_compile_options(tallyfin_options INTERFACE -Wno-restrict)
endif()

set(TALLYFIN_SANITIZE "" CACHE STRING "Sanitizers to build with, for instance address,undefined")
if(TALLYFIN_SANITIZE)
  # The vptr check opens a pipe to inspect an object. That fails in tests that use up all descriptors.
  set(flags -fsanitize=${TALLYFIN_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(tallyfin_options INTERFACE ${flags})
  target_compile_definitions(tallyfin_options INTERFACE _GLIBCXX_ASSERTIONS)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers, GCC wrongly reports members of std::variant as uninitialized.
    target_compile_options(tallyfin_options INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(tallyfin_options INTERFACE ${flags})
endif()

option(TALLYFIN_FUZZ "Build the fuzz targets to run under libFuzzer (clang), not to replay their inputs" OFF)
if(TALLYFIN_FUZZ)
  target_compile_options(tallyfin_options INTERFACE -fsanitize=fuzzer-no-link)  # measures coverage for fuzzing
endif()
