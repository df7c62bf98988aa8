# Preferences, the dock model and the layout geometry: pure logic over the platform interfaces.
add_library(wharf_foundation STATIC
  src/model/dock_item.cpp
  src/dock/dock_layout.cpp
)
target_include_directories(wharf_foundation PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_foundation PUBLIC Qt6::Core Qt6::Gui Qt6::Widgets)

include(GoogleTest)

add_executable(dock_layout_test tests/dock/dock_layout_test.cpp)
target_link_libraries(dock_layout_test PRIVATE wharf_foundation GTest::gtest_main)
gtest_discover_tests(dock_layout_test)
