# The Linux desktop behind the platform interfaces: X11 (xcb) windows and GIO entries.
# Defines wharf_platform_x11 and its tests.
add_library(wharf_platform_x11 STATIC
  src/shell/item_json.cpp
  src/shell/list_items_command.cpp
)
target_link_libraries(wharf_platform_x11 PUBLIC wharf_foundation PkgConfig::GIO PkgConfig::XCB Qt6::Gui)
