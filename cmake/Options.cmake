# Warnings and sanitizers for our own targets; libraries from the system are spared.
add_library(tallyfin_options INTERFACE)
target_compile_options(tallyfin_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  -ffp-contract=off)  # a fused multiply-add would change the last bit of a sum from one processor to the next

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlapping copies in std::string's operator+ where there are none (GCC bug 105651).
  target_compile_options(tallyfin_options INTERFACE -Wno-restrict)
endif()

set(TALLYFIN_SANITIZE "" CACHE STRING "Sanitizers to build with, for instance address,undefined")
if(TALLYFIN_SANITIZE)
  # The vptr check opens a pipe to look at an object, which fails in the tests that leave no descriptor.
  set(flags -fsanitize=${TALLYFIN_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(tallyfin_options INTERFACE ${flags})
  target_compile_definitions(tallyfin_options INTERFACE _GLIBCXX_ASSERTIONS)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC loses track of std::variant's members between the checks that sanitizers add.
    target_compile_options(tallyfin_options INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(tallyfin_options INTERFACE ${flags})
endif()

option(TALLYFIN_FUZZ "Build the fuzz targets to run under libFuzzer (clang), not to replay their inputs" OFF)
if(TALLYFIN_FUZZ)
  target_compile_options(tallyfin_options INTERFACE -fsanitize=fuzzer-no-link)  # the engine sees what it covers
endif()
