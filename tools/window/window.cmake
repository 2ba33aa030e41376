# quilt-create-window: the creation window. GTK lives here only; quilt-create
# itself stays a GTK-free command line and starts this program.
pkg_check_modules(QUILT_WINDOW_GTK REQUIRED IMPORTED_TARGET gtk+-3.0)

set(QUILT_WINDOW_DIR ${CMAKE_CURRENT_LIST_DIR})
add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/creation-window-resources.c
  COMMAND glib-compile-resources --generate-source --manual-register --c-name quilt_createwin
    --sourcedir ${QUILT_WINDOW_DIR} --target ${CMAKE_CURRENT_BINARY_DIR}/creation-window-resources.c
    ${QUILT_WINDOW_DIR}/creation-window.gresource.xml
  DEPENDS ${QUILT_WINDOW_DIR}/creation-window.gresource.xml ${QUILT_WINDOW_DIR}/creation-window.ui
  VERBATIM)

# The window's classes form a library for the in-process GUI tests.
add_library(quilt_create_window_lib STATIC
  ${QUILT_WINDOW_DIR}/KTBuilder.cpp
  ${QUILT_WINDOW_DIR}/KTCreationRequest.cpp
  ${QUILT_WINDOW_DIR}/KTCreationWindow.cpp
  ${QUILT_WINDOW_DIR}/KTMadeAppList.cpp
  ${QUILT_WINDOW_DIR}/KTProbedSite.cpp
  ${QUILT_WINDOW_DIR}/KTToolProcess.cpp
  ${CMAKE_CURRENT_BINARY_DIR}/creation-window-resources.c
)
target_include_directories(quilt_create_window_lib PUBLIC ${QUILT_WINDOW_DIR})
target_link_libraries(quilt_create_window_lib PUBLIC quilt_create_lib quilt_core PkgConfig::QUILT_WINDOW_GTK)

add_executable(quilt-create-window ${QUILT_WINDOW_DIR}/quilt-create-window.cpp)
target_link_libraries(quilt-create-window PRIVATE quilt_create_window_lib)
# Beside quilt-create, which looks for it there.
set_target_properties(quilt-create-window PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tools)
add_dependencies(quilt-create quilt-create-window)
