#pragma once

#include <optional>

namespace wharf {

// Keyboard mode's keys: which keys the dock takes while it has the keyboard, and what each does
// with the selection. Keys are Qt::Key values; every other key takes the window's default path.
class DockKeyboard {
public:
    enum class Command {
        none,     // not a key of keyboard mode
        select,   // move the selection to `index`
        showMenu, // pop up the context menu of `index`
        activate, // activate `index` (which ends keyboard mode)
        leave,    // end keyboard mode
    };
    struct Outcome {
        Command command = Command::none;
        int index = 0;
        bool operator==(const Outcome&) const = default;
    };

    // What `key` does with `selection` (none counts as the first entry) among `count` entries.
    static Outcome press(int key, std::optional<int> selection, int count);
};

} // namespace wharf
