# Self-test of the headless desktop (Xvfb, openbox, D-Bus, keyring, dunst) that
# the GUI tests and ./test.sh run in. It starts nested sessions of its own, so
# it also works when ctest itself already runs inside one.
add_test(NAME DesktopSession.SelfTest
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/desktop-session-selftest.sh)
set_tests_properties(DesktopSession.SelfTest PROPERTIES
  TIMEOUT 180
  LABELS "session")
