# The Linux desktop behind the platform interfaces: X11 (xcb) windows and GIO entries.
# Defines wharf_platform_x11 and its tests.

# The shipped matching rules are compiled in, so the executable needs no data files.
set(WHARF_RULES_FILE ${PROJECT_SOURCE_DIR}/data/matching/rules.conf)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${WHARF_RULES_FILE})
file(READ ${WHARF_RULES_FILE} WHARF_DEFAULT_RULES)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/generated/platform/x11/default_rules.h
  CONTENT "#pragma once\nnamespace wharf {\ninline constexpr char defaultMatchRules[] = R\"wharfrules(@WHARF_DEFAULT_RULES@)wharfrules\";\n}\n"
  @ONLY)

include(GoogleTest)
add_library(wharf_platform_x11 STATIC
  src/platform/x11/app_matcher.cpp
  src/platform/x11/process_reader.cpp
  src/platform/x11/x11_connection.cpp
  src/platform/x11/x11_workspace.cpp
  src/shell/item_json.cpp
  src/shell/list_items_command.cpp
)
target_include_directories(wharf_platform_x11 PUBLIC ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(wharf_platform_x11 PUBLIC wharf_foundation PkgConfig::GIO PkgConfig::XCB Qt6::Gui)

# Unit tests: matching against fixture desktop entries in an isolated XDG tree.
add_executable(wharf_platform_tests
  tests/platform/app_matcher_test.cpp
  tests/platform/platform_test_main.cpp
)
target_compile_definitions(wharf_platform_tests PRIVATE
  WHARF_TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/platform/data")
target_link_libraries(wharf_platform_tests PRIVATE wharf_platform_x11 GTest::gtest)
gtest_discover_tests(wharf_platform_tests DISCOVERY_MODE PRE_TEST)

# End-to-end: `wharf --list-items` and the workspace itself under a private X session.
# (wharf_e2e_support is defined in e2e.cmake, included later.)
add_executable(workspace_e2e_test tests/e2e/workspace_e2e_test.cpp)
target_link_libraries(workspace_e2e_test PRIVATE wharf_e2e_support PkgConfig::XCB)
add_test(NAME e2e.workspace COMMAND workspace_e2e_test)
set_tests_properties(e2e.workspace PROPERTIES LABELS e2e TIMEOUT 300)

add_executable(workspace_live_e2e_test tests/e2e/workspace_live_e2e_test.cpp)
target_link_libraries(workspace_live_e2e_test PRIVATE wharf_platform_x11 wharf_e2e_support)
add_test(NAME e2e.workspace_live COMMAND workspace_live_e2e_test)
set_tests_properties(e2e.workspace_live PROPERTIES LABELS e2e TIMEOUT 300)

if(benchmark_FOUND)
  add_executable(workspace_bench bench/workspace_bench.cpp)
  target_link_libraries(workspace_bench PRIVATE wharf_platform_x11 benchmark::benchmark)
endif()
