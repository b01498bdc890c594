# Flags shared by everything that this project compiles.

add_library(kelvane_flags INTERFACE)
target_compile_options(kelvane_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion)
if(KELVANE_WARNINGS_AS_ERRORS)
  target_compile_options(kelvane_flags INTERFACE -Werror)
endif()
if(KELVANE_SANITIZE)
  set(sanitizers -fsanitize=${KELVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang") # which would need the C++ runtime in C programs
    list(APPEND sanitizers -fno-sanitize=function)
  endif()
  target_compile_options(kelvane_flags INTERFACE ${sanitizers})
  target_link_options(kelvane_flags INTERFACE ${sanitizers})
endif()

option(KELVANE_COVERAGE "Count with Clang which lines and branches of the library run" OFF)
if(KELVANE_COVERAGE)
  target_link_options(kelvane_flags INTERFACE -fprofile-instr-generate)
endif()

# The standard library of Android, for those who build with it.
option(KELVANE_LIBCXX "Build with Clang's standard library, libc++" OFF)
if(KELVANE_LIBCXX)
  target_compile_options(kelvane_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-stdlib=libc++>)
  target_link_options(kelvane_flags INTERFACE -stdlib=libc++)
endif()

# `long` of 64 bits; what is measured in it fits the addresses of 32 bits wherever there is memory.
if(EMSCRIPTEN)
  target_compile_options(kelvane_flags INTERFACE -include ${CMAKE_CURRENT_LIST_DIR}/wasm32_long.h
                                                 -Wno-shorten-64-to-32)
endif()

# The library itself: no C++ runtime, and the same floating-point results everywhere.
add_library(kelvane_library_flags INTERFACE)
target_link_libraries(kelvane_library_flags INTERFACE kelvane_flags)
target_compile_options(
  kelvane_library_flags
  INTERFACE -fvisibility=hidden
            -ffp-contract=off
            -fno-math-errno
            $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
            $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
            $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
            $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)

if(KELVANE_BUILD_FUZZ) # only the library counts its edges, not what it is compared with
  target_compile_options(kelvane_library_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# What the language defines may still be unintended: integers that wrap or change in a conversion.
if(KELVANE_SANITIZE MATCHES "undefined" AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(
    kelvane_library_flags
    INTERFACE -fsanitize=integer
              -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/intended_wraps.txt)
endif()
if(KELVANE_COVERAGE)
  target_compile_options(kelvane_library_flags INTERFACE -fprofile-instr-generate
                                                         -fcoverage-mapping)
endif()
