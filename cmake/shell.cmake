# The application shell, the dock windows, the D-Bus service and the wharf executable.
add_library(wharf_shell STATIC
  src/shell/app_delegate.cpp
  src/platform/x11/x11_dock_window.cpp
)
target_include_directories(wharf_shell PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(wharf_shell PUBLIC
  wharf_foundation wharf_platform_x11 wharf_takeover
  Qt6::Widgets Qt6::DBus PkgConfig::XCB)

add_executable(wharf src/shell/main.cpp)
target_compile_definitions(wharf PRIVATE WHARF_VERSION="${PROJECT_VERSION}")
target_link_libraries(wharf PRIVATE wharf_shell)
