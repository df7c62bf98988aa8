# Preferences, the dock model and the layout geometry: pure logic over the platform interfaces.
add_library(wharf_foundation STATIC
  src/model/dock_item.cpp
)
target_include_directories(wharf_foundation PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_foundation PUBLIC Qt6::Core Qt6::Gui Qt6::Widgets)
