# Tests of the running browser. The core parts (window placement, the tab
# model) need no display; the rest drive real GTK windows and WebKitGTK pages
# served from 127.0.0.1 and run inside tests/desktop-session (./test.sh). They
# skip without a DISPLAY.
quilt_add_test(app_core_tests
  ${CMAKE_CURRENT_LIST_DIR}/app/KTWindowRestorerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/windows/KTTabModelTest.cpp)

pkg_check_modules(QUILT_SOUP REQUIRED IMPORTED_TARGET libsoup-3.0)
add_library(quilt_guisupport STATIC ${CMAKE_CURRENT_LIST_DIR}/support/GuiTest.cpp)
target_link_libraries(quilt_guisupport PUBLIC quilt_testsupport quilt_ui PkgConfig::QUILT_SOUP)
target_compile_definitions(quilt_guisupport PRIVATE
  QUILT_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}" QUILT_TEST_BUILD_DIR="${CMAKE_BINARY_DIR}")

# Each WebKit test starts a web and a network process: one at a time
# (RESOURCE_LOCK), so that two never share the two cores of the machine.
function(quilt_add_gui_test name)
  quilt_add_test(${name} ${ARGN}
    PROPERTIES LABELS gui RESOURCE_LOCK webkit TIMEOUT 180)
  target_link_libraries(${name} PRIVATE quilt_guisupport)
  # The end-to-end tests run the assembled template bundle.
  add_dependencies(${name} template_bundle)
endfunction()

quilt_add_gui_test(page_tests
  ${CMAKE_CURRENT_LIST_DIR}/web/KTWebViewControllerTest.cpp)

quilt_add_gui_test(window_tests
  ${CMAKE_CURRENT_LIST_DIR}/windows/KTTabViewControllerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/windows/KTMainWindowControllerTest.cpp)

quilt_add_gui_test(app_tests
  ${CMAKE_CURRENT_LIST_DIR}/app/AppLaunchTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/app/AppEndToEndTest.cpp)

# The policy glue and the downloads: pages reach any host name through the
# test server as proxy; recorder desktop entries stand for the default
# browser and other handlers.
quilt_add_gui_test(policy_navigation_tests ${CMAKE_CURRENT_LIST_DIR}/policy/NavigationGlueTest.cpp)
quilt_add_gui_test(policy_response_tests ${CMAKE_CURRENT_LIST_DIR}/policy/ResponseGlueTest.cpp)
quilt_add_gui_test(policy_download_tests ${CMAKE_CURRENT_LIST_DIR}/policy/DownloadsTest.cpp)
quilt_add_gui_test(policy_page_tests ${CMAKE_CURRENT_LIST_DIR}/policy/PageContentTest.cpp)
