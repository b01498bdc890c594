# WebAssembly by Debian's Emscripten. KELVANE_WASM_SIMD chooses vectors of 128 bits.
option(KELVANE_WASM_SIMD "Use WebAssembly's vectors of 128 bits" ON)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELVANE_WASM_SIMD)
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
if(KELVANE_WASM_SIMD)
  set(CMAKE_CXX_FLAGS_INIT -msimd128)
endif()
# Emscripten's runtime of 2022 takes Node's fetch for that of a browser.
set(CMAKE_CROSSCOMPILING_EMULATOR node --no-experimental-fetch)
