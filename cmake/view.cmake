# The dock view: entries, animation and drawing. Defines wharf_view and its tests.
# The desktop appearance and icon theme helpers use GIO; the view itself never does.
add_library(wharf_view STATIC
  src/dock/dock_entry.cpp
  src/dock/dock_tile.cpp
  src/dock/dock_view.cpp
  src/dock/dock_view_accessible.cpp
  src/dock/dock_view_renderer.cpp
  src/dock/gaussian_blur.cpp
  src/platform/desktop_appearance.h
  src/platform/x11/desktop_appearance_linux.cpp
  src/platform/x11/icon_theme_setup.cpp
)
target_link_libraries(wharf_view PUBLIC wharf_foundation Qt6::Widgets Qt6::DBus PRIVATE PkgConfig::GIO)

include(GoogleTest)
add_executable(dock_view_test
  tests/dock/desktop_appearance_test.cpp
  tests/dock/dock_view_hidpi_test.cpp
  tests/dock/dock_view_membership_test.cpp
  tests/dock/dock_view_pointer_test.cpp
  tests/dock/dock_view_render_test.cpp
  tests/dock/dock_view_test_main.cpp
)
target_include_directories(dock_view_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(dock_view_test PRIVATE wharf_view PkgConfig::GIO GTest::gtest)
gtest_discover_tests(dock_view_test PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
add_test(NAME DockViewHiDpi.at_scale_2 COMMAND dock_view_test --gtest_filter=DockViewHiDpi.*)
set_tests_properties(DockViewHiDpi.at_scale_2 PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QT_SCALE_FACTOR=2")

if(benchmark_FOUND)
  add_executable(dock_view_bench bench/dock_view_bench.cpp)
  target_include_directories(dock_view_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(dock_view_bench PRIVATE wharf_view benchmark::benchmark GTest::gtest)
endif()
