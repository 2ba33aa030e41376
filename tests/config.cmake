# Unit tests of the configuration layer: the JSON stores, the bundle's
# configuration, the value types and the allow-list. No display needed.
quilt_add_test(config_stores_test
  ${CMAKE_CURRENT_LIST_DIR}/config/StoreLoadingTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/SettingsManagerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/BehaviorManagerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/SmallStoresTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/UpdateManagerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/QuiltManagerTest.cpp)
quilt_add_test(config_values_test
  ${CMAKE_CURRENT_LIST_DIR}/config/ValueTypesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/JsonTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/JsonReaderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config/WhiteListTest.cpp)
