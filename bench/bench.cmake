# store_bench: load and save times and peak memory of the history and
# bookmark stores at realistic sizes. Built by default, never run as a test.
# A private home and bundle as the tests make them.
add_executable(store_bench ${CMAKE_CURRENT_LIST_DIR}/store_bench.cpp ${PROJECT_SOURCE_DIR}/tests/IsolatedHome.cpp)
target_link_libraries(store_bench PRIVATE quilt_core)
target_include_directories(store_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests)
