# The application shell, the dock windows, the D-Bus service and the wharf executable.
