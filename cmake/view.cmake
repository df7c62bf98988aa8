# The dock view: entries, animation and drawing. Defines wharf_view and its tests.
