# quilt-create: the creation tool. Its classes form a library so the tests
# can call them in-process; the executable is a thin main around them.
pkg_check_modules(QUILT_CREATE_DEPS REQUIRED IMPORTED_TARGET cairo pangocairo libpsl libsoup-3.0)

add_library(quilt_create_lib STATIC
  ${CMAKE_CURRENT_LIST_DIR}/KTAppConfiguration.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTAppCreator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTAppDataWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTAppRegistry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTBundleBuilder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTCreateOptions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTDesktopEntry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTHelperServiceFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTRollback.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTIconMaker.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTInterruption.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTProbeCache.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTSiteAddress.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTSiteProbe.cpp
)
target_include_directories(quilt_create_lib PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_definitions(quilt_create_lib PRIVATE QUILT_TOOL_VERSION="${PROJECT_VERSION}")
target_link_libraries(quilt_create_lib PUBLIC quilt_core PkgConfig::QUILT_CREATE_DEPS)

add_executable(quilt-create ${CMAKE_CURRENT_LIST_DIR}/quilt-create.cpp)
target_link_libraries(quilt-create PRIVATE quilt_create_lib quilt_core)
set_target_properties(quilt-create PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tools)
# The tool finds the template at ../DefaultApp.app from its own folder.
add_dependencies(quilt-create template_bundle)
# It writes the helper's activation file naming quilt-helper beside it.
add_dependencies(quilt-create quilt-helper)

include(${CMAKE_CURRENT_LIST_DIR}/window/window.cmake)
