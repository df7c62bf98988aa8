# Preferences, the dock model and the layout geometry: pure logic over the platform interfaces.
add_library(wharf_foundation STATIC
  src/model/dock_item.cpp
  src/dock/dock_layout.cpp
  src/model/dock_model.cpp
  src/shell/action_menu_item.cpp
  src/shell/dock_appearance.cpp
  src/shell/dock_preferences.cpp
)
target_include_directories(wharf_foundation PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_foundation PUBLIC Qt6::Core Qt6::Gui Qt6::Widgets)

include(GoogleTest)

add_executable(dock_layout_test tests/dock/dock_layout_test.cpp)
target_link_libraries(dock_layout_test PRIVATE wharf_foundation GTest::gtest_main)
gtest_discover_tests(dock_layout_test)

add_executable(dock_preferences_test tests/shell/dock_preferences_test.cpp)
target_link_libraries(dock_preferences_test PRIVATE wharf_foundation GTest::gtest)
gtest_discover_tests(dock_preferences_test)

add_executable(dock_model_test tests/model/dock_model_test.cpp)
target_include_directories(dock_model_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(dock_model_test PRIVATE wharf_foundation GTest::gtest)
gtest_discover_tests(dock_model_test)

if(benchmark_FOUND)
  add_executable(model_layout_bench bench/model_layout_bench.cpp)
  target_include_directories(model_layout_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(model_layout_bench PRIVATE wharf_foundation benchmark::benchmark)
endif()
