# The app's side of the helper service: the value records, KTServiceManager
# and the D-Bus glue that gdbus-codegen makes from org.quilt.Helper.xml (the
# helper in helper/ links the same glue through quilt_core).
find_program(GDBUS_CODEGEN gdbus-codegen REQUIRED)

set(QUILT_GENERATED_DIR ${CMAKE_BINARY_DIR}/generated)
set(quilt_bus_dir ${QUILT_GENERATED_DIR}/core/services)
set(quilt_bus_xml ${CMAKE_CURRENT_LIST_DIR}/org.quilt.Helper.xml)
file(MAKE_DIRECTORY ${quilt_bus_dir})
add_custom_command(
  OUTPUT ${quilt_bus_dir}/QuiltHelperBus.c ${quilt_bus_dir}/QuiltHelperBus.h
  COMMAND ${GDBUS_CODEGEN} --interface-prefix org.quilt. --c-namespace QuiltBus
          --c-generate-autocleanup none
          --output-directory ${quilt_bus_dir} --generate-c-code QuiltHelperBus ${quilt_bus_xml}
  DEPENDS ${quilt_bus_xml}
  COMMENT "Generating the helper service's D-Bus glue"
  VERBATIM)
# Generated code is not ours to keep warning-free.
set_source_files_properties(${quilt_bus_dir}/QuiltHelperBus.c PROPERTIES COMPILE_OPTIONS -w)

target_sources(quilt_core PRIVATE
  ${quilt_bus_dir}/QuiltHelperBus.c
  ${CMAKE_CURRENT_LIST_DIR}/KTVariantReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTCredentials.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTNotificationActionInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTNotificationInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KTServiceManager.cpp)
# "core/services/QuiltHelperBus.h" resolves here, beside the layer's own folder.
target_include_directories(quilt_core PUBLIC ${QUILT_GENERATED_DIR})
