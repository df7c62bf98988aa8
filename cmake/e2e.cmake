# End-to-end tests: real X server, window manager and clients.
# wharf_e2e_support gives each test a private session (tests/e2e/support/e2e_session.h) and a main().
add_library(wharf_e2e_support STATIC
  tests/e2e/support/e2e_session.cpp
  tests/e2e/support/e2e_main.cpp
)
target_include_directories(wharf_e2e_support PUBLIC ${PROJECT_SOURCE_DIR}/tests/e2e/support)
target_link_libraries(wharf_e2e_support PUBLIC Qt6::Core Qt6::Gui Qt6::DBus GTest::gtest)
target_compile_definitions(wharf_e2e_support PUBLIC WHARF_BINARY="${CMAKE_BINARY_DIR}/wharf")

add_executable(e2e_session_test tests/e2e/session_e2e_test.cpp)
target_link_libraries(e2e_session_test PRIVATE wharf_e2e_support)
add_test(NAME e2e.session COMMAND e2e_session_test)
set_tests_properties(e2e.session PROPERTIES LABELS e2e TIMEOUT 120)
