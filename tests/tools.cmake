# Tests of the creation tool quilt-create: its classes in-process, and the
# built program end to end (it finds the template beside itself).
if(TARGET quilt-create)
  quilt_add_test(quilt_create_tests
    tools/KTSiteAddressTest.cpp
    tools/KTDesktopEntryTest.cpp
    tools/KTIconMakerTest.cpp
    tools/QuiltCreateTest.cpp
  )
  target_link_libraries(quilt_create_tests PRIVATE quilt_create_lib)
  target_include_directories(quilt_create_tests PRIVATE ${CMAKE_CURRENT_LIST_DIR}/tools)
  target_compile_definitions(quilt_create_tests PRIVATE
    QUILT_CREATE_EXE="$<TARGET_FILE:quilt-create>"
    QUILT_TEMPLATE_BUNDLE="${CMAKE_BINARY_DIR}/DefaultApp.app")
  add_dependencies(quilt_create_tests quilt-create template_bundle)
endif()
