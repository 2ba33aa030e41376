# store_bench: load and save times and peak memory of the history and
# bookmark stores at realistic sizes. Built by default, never run as a test.
add_executable(store_bench ${CMAKE_CURRENT_LIST_DIR}/store_bench.cpp)
target_link_libraries(store_bench PRIVATE quilt_core)
