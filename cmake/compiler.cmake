# Flags shared by everything that this project compiles.

add_library(kelvane_flags INTERFACE)
target_compile_options(kelvane_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion)
if(KELVANE_WARNINGS_AS_ERRORS)
  target_compile_options(kelvane_flags INTERFACE -Werror)
endif()
if(KELVANE_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(kelvane_flags INTERFACE ${sanitizers})
  target_link_options(kelvane_flags INTERFACE ${sanitizers})
endif()

if(KELVANE_BUILD_FUZZ) # everything counts the edges that it takes
  target_compile_options(kelvane_flags INTERFACE -fsanitize=fuzzer-no-link)
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
