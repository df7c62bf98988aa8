# The dock view: entries, animation and drawing. Defines wharf_view and its tests.
add_library(wharf_view STATIC
  src/dock/dock_entry.cpp
  src/dock/dock_tile.cpp
  src/dock/dock_view.cpp
  src/dock/dock_view_painter.h
)
target_link_libraries(wharf_view PUBLIC wharf_foundation Qt6::Widgets)
