# Taking over the native dock through GSettings, the backup transaction and the recovery helper.
# Defines wharf_takeover and its tests.
add_library(wharf_takeover STATIC
  src/platform/x11/dash_to_dock_native_dock.cpp
  src/takeover/dock_preference_backup.cpp
  src/takeover/dock_preference_transaction.cpp
  src/takeover/process_identity.cpp
  src/takeover/recovery_helper.cpp
  src/takeover/system_dock_integration.cpp
)
target_include_directories(wharf_takeover PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_takeover PUBLIC wharf_foundation Qt6::Core PkgConfig::GIO PkgConfig::PLIST)

include(GoogleTest)

# The real Dash to Dock schema, taken out of Debian's package into the build tree.
set(WHARF_DASH_TO_DOCK_DIR ${CMAKE_BINARY_DIR}/dash-to-dock)
add_test(NAME takeover.schema
  COMMAND ${PROJECT_SOURCE_DIR}/tests/takeover/dash-to-dock-schema.sh ${WHARF_DASH_TO_DOCK_DIR})
set_tests_properties(takeover.schema PROPERTIES FIXTURES_SETUP dash_to_dock_schema TIMEOUT 120)

# Each test process makes its own private data and settings folders (takeover_test_main.cpp).
set(WHARF_TAKEOVER_TEST_ENV
  GSETTINGS_SCHEMA_DIR=${WHARF_DASH_TO_DOCK_DIR}/schemas GSETTINGS_BACKEND=keyfile
  DBUS_SESSION_BUS_ADDRESS=disabled: QT_QPA_PLATFORM=offscreen)

add_library(wharf_takeover_test_support STATIC tests/takeover/takeover_test_support.cpp)
target_include_directories(wharf_takeover_test_support PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(wharf_takeover_test_support PUBLIC wharf_takeover)

add_executable(takeover_test
  tests/takeover/takeover_test_main.cpp
  tests/takeover/dock_preference_backup_test.cpp
  tests/takeover/dock_preference_transaction_test.cpp
  tests/takeover/dash_to_dock_native_dock_test.cpp
  tests/takeover/system_dock_integration_test.cpp
)
target_link_libraries(takeover_test PRIVATE wharf_takeover_test_support GTest::gtest)
gtest_discover_tests(takeover_test TEST_PREFIX takeover. DISCOVERY_TIMEOUT 30
  PROPERTIES FIXTURES_REQUIRED dash_to_dock_schema ENVIRONMENT "${WHARF_TAKEOVER_TEST_ENV}" TIMEOUT 60)

# A stand-in for Wharf that only takes over the dock: the crash tests kill it at will.
add_executable(takeover_driver tests/takeover/takeover_driver.cpp)
target_link_libraries(takeover_driver PRIVATE wharf_takeover)

add_executable(takeover_crash_test
  tests/takeover/crash_recovery_test.cpp
  tests/takeover/crash_recovery_support.cpp
)
target_link_libraries(takeover_crash_test PRIVATE wharf_takeover_test_support GTest::gtest)
target_compile_definitions(takeover_crash_test PRIVATE WHARF_TAKEOVER_DRIVER="$<TARGET_FILE:takeover_driver>")
add_dependencies(takeover_crash_test takeover_driver)
gtest_discover_tests(takeover_crash_test TEST_PREFIX takeover. DISCOVERY_TIMEOUT 30
  PROPERTIES FIXTURES_REQUIRED dash_to_dock_schema ENVIRONMENT "${WHARF_TAKEOVER_TEST_ENV}" TIMEOUT 110)

# End-to-end: the wharf executable under Xvfb + openbox, taking over the real Dash to Dock settings.
add_executable(takeover_e2e_test tests/e2e/takeover_e2e_test.cpp)
target_link_libraries(takeover_e2e_test PRIVATE wharf_e2e_support wharf_takeover_test_support)
add_dependencies(takeover_e2e_test wharf)
add_test(NAME e2e.takeover COMMAND takeover_e2e_test)
set_tests_properties(e2e.takeover PROPERTIES LABELS e2e TIMEOUT 300 FIXTURES_REQUIRED dash_to_dock_schema
  ENVIRONMENT "GSETTINGS_SCHEMA_DIR=${WHARF_DASH_TO_DOCK_DIR}/schemas")

# Crash-to-restore latency over real processes (needs the schema fixture's directory, see the file).
add_executable(takeover_restore_bench bench/takeover_restore_bench.cpp tests/takeover/crash_recovery_support.cpp)
target_link_libraries(takeover_restore_bench PRIVATE wharf_takeover_test_support)
target_compile_definitions(takeover_restore_bench PRIVATE WHARF_TAKEOVER_DRIVER="$<TARGET_FILE:takeover_driver>")
add_dependencies(takeover_restore_bench takeover_driver)
