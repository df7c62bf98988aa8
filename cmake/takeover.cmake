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
