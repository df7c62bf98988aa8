# The Linux desktop behind the platform interfaces: X11 (xcb) windows and GIO entries.
# Defines wharf_platform_x11 and its tests.
