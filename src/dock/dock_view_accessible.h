#pragma once

namespace wharf {

// Registers the accessibility of dock views with Qt, which bridges it to AT-SPI: each
// view is a toolbar labelled "Wharf" whose children are its tiles, each a button with
// the entry's title as name, the badge as value and the help text as description.
// Safe to call more than once.
void installDockAccessibility();

} // namespace wharf
