# What lets tests and fuzz targets answer in the place of the memory and of the processor.
set(hook_sources ${CMAKE_CURRENT_LIST_DIR}/allocation_hook.cpp
                 ${CMAKE_CURRENT_LIST_DIR}/vector_hook.cpp)
set(hook_options)
foreach(function VantMemAlloc malloc realloc free _ZN7kelvane8hasLevelENS_5LevelE)
  list(APPEND hook_options -Wl,--wrap=${function})
endforeach()
