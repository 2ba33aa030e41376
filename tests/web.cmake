# Core decisions of the web layer and the download bookkeeping: no display,
# no engine; the WebKit glue that carries them out is tested on its own.
quilt_add_test(web_policy_tests
  ${CMAKE_CURRENT_LIST_DIR}/web/NavigationPolicyTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/web/ResponsePolicyTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/web/TypedAddressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/web/UserAgentsTest.cpp)

quilt_add_test(web_userscripts_tests
  ${CMAKE_CURRENT_LIST_DIR}/web/UserScriptsTest.cpp)

quilt_add_test(download_queue_tests
  ${CMAKE_CURRENT_LIST_DIR}/services/DownloadQueueTest.cpp)
