#pragma once

#include "stacks/stack_entry.h"

#include <QIcon>
#include <QWidget>

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace wharf {

class StackItemView;

// The grid of a stack, inside a scroll area; cells exist only for the visible rows and one
// row above and below, and scrolling makes and drops them.
class StackGridView : public QWidget {
public:
    using IconProvider = std::function<QIcon(const StackEntry&)>;

    StackGridView(std::vector<StackEntry> entries, int columns, IconProvider icons, QWidget* parent = nullptr);

    // Told of every new cell (the stack asks for its thumbnail).
    std::function<void(StackItemView&)> onCellCreated;

    int columns() const { return columnCount; }
    // Creates and drops cells for the visible band [top, bottom) in grid coordinates.
    void realize(double visibleTop, double visibleBottom);
    void setSelection(std::optional<int> index);
    std::optional<int> selection() const { return selected; }
    const std::map<int, StackItemView*>& cards() const { return cells; }

    std::function<void(int)> onSelect;
    std::function<void(int)> onOpen;
    std::function<void(int)> onReveal;
    std::function<void()> onPreview;
    std::function<void()> onDragStarted;
    std::function<void(Qt::DropAction)> onDragEnded;

private:
    std::vector<StackEntry> entries;
    int columnCount;
    IconProvider icons;
    std::optional<int> selected;
    std::map<int, StackItemView*> cells;
    bool draggingFile = false;
};

} // namespace wharf
