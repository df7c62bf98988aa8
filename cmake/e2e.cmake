# End-to-end tests: real X server, window manager and clients. Defines wharf_e2e_support.
