# End-to-end tests of the policy glue and the downloads: real windows and
# WebKitGTK pages, a local SoupServer acting as the HTTP proxy for any host
# name, real desktop entries as the default browser and other handlers. They
# run inside tests/desktop-session (label "gui"), one WebKit test at a time
# (RESOURCE_LOCK "webkit": a web and a network process per test on two
# cores), each test in a process of its own.
pkg_check_modules(QUILT_POLICY_SOUP REQUIRED IMPORTED_TARGET libsoup-3.0)
add_library(quilt_policysupport STATIC ${CMAKE_CURRENT_LIST_DIR}/policy_support/PolicyTest.cpp)
target_include_directories(quilt_policysupport PUBLIC ${CMAKE_CURRENT_LIST_DIR}/policy_support)
target_link_libraries(quilt_policysupport PUBLIC quilt_testsupport quilt_ui PkgConfig::QUILT_POLICY_SOUP)

function(quilt_add_policy_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE quilt_policysupport GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS gui RESOURCE_LOCK webkit TIMEOUT 180
      ENVIRONMENT "QUILT_SOURCE_DIR=${PROJECT_SOURCE_DIR};QUILT_BUILD_DIR=${CMAKE_BINARY_DIR}")
endfunction()

quilt_add_policy_test(policy_navigation_tests ${CMAKE_CURRENT_LIST_DIR}/policy/NavigationGlueTest.cpp)
quilt_add_policy_test(policy_response_tests ${CMAKE_CURRENT_LIST_DIR}/policy/ResponseGlueTest.cpp)
quilt_add_policy_test(policy_download_tests ${CMAKE_CURRENT_LIST_DIR}/policy/DownloadsTest.cpp)
quilt_add_policy_test(policy_page_tests ${CMAKE_CURRENT_LIST_DIR}/policy/PageContentTest.cpp)
