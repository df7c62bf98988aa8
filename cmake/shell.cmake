# The application shell, the dock windows, the D-Bus service and the wharf executable.
add_library(wharf_shell STATIC
  src/dock/dock_panel.cpp
  src/dock/dock_window_controller.cpp
  src/platform/x11/x11_dock_window.cpp
  src/shell/app_delegate.cpp
  src/shell/applied_preferences.cpp
  src/shell/dock_avoidance_region.cpp
  src/shell/signal_listener.cpp
  src/shell/wharf_dbus_service.cpp
)
target_include_directories(wharf_shell PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_shell PUBLIC
  wharf_foundation wharf_view wharf_platform_x11 wharf_takeover
  Qt6::Widgets Qt6::DBus PkgConfig::XCB)

add_executable(wharf src/shell/main.cpp)
target_compile_definitions(wharf PRIVATE WHARF_VERSION="${PROJECT_VERSION}")
target_link_libraries(wharf PRIVATE wharf_shell)

add_executable(wharf_shell_tests
  tests/shell/shell_test_main.cpp
  tests/shell/dock_avoidance_region_test.cpp
  tests/shell/dock_windows_test.cpp
  tests/shell/lifecycle_rules_test.cpp
  tests/shell/signal_listener_test.cpp
)
target_include_directories(wharf_shell_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(wharf_shell_tests PRIVATE wharf_shell GTest::gtest)
gtest_discover_tests(wharf_shell_tests PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")

# End-to-end: the wharf process under Xvfb + openbox + xcompmgr.
foreach(name windows lifecycle)
  add_executable(dock_${name}_e2e_test tests/e2e/dock_${name}_e2e_test.cpp)
  target_include_directories(dock_${name}_e2e_test PRIVATE ${PROJECT_SOURCE_DIR}/tests/e2e)
  target_link_libraries(dock_${name}_e2e_test PRIVATE wharf_e2e_support wharf_foundation)
  add_dependencies(dock_${name}_e2e_test wharf)
  add_test(NAME e2e.dock_${name} COMMAND dock_${name}_e2e_test)
  set_tests_properties(e2e.dock_${name} PROPERTIES LABELS e2e TIMEOUT 300)
endforeach()
