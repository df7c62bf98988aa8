#include "stacks/stack_grid_view.h"

#include "stacks/stack_item_view.h"
#include "stacks/stack_layout.h"

#include <algorithm>

namespace wharf {

StackGridView::StackGridView(std::vector<StackEntry> entries, int columns, IconProvider icons, QWidget* parent)
    : QWidget(parent), entries(std::move(entries)), columnCount(std::max(columns, 1)), icons(std::move(icons))
{
    const int count = int(this->entries.size());
    const int rows = std::max((count + columnCount - 1) / columnCount, 1);
    resize(int(columnCount * StackLayout::cellWidth), int(rows * StackLayout::cellHeight));
}

void StackGridView::realize(double visibleTop, double visibleBottom)
{
    // Cells stay put while one of them is being dragged out.
    if (draggingFile)
        return;
    const auto [first, end] = StackLayout::realizedRange(visibleTop, visibleBottom, columnCount, int(entries.size()));
    for (auto it = cells.begin(); it != cells.end();) {
        if (it->first < first || it->first >= end) {
            it->second->hide();
            it->second->deleteLater();
            it = cells.erase(it);
        } else {
            ++it;
        }
    }
    for (int i = first; i < end; ++i) {
        if (cells.count(i))
            continue;
        const StackEntry& entry = entries[std::size_t(i)];
        auto* cell = new StackItemView(entry, icons ? icons(entry) : QIcon(), false, false, this);
        cell->setGeometry(int((i % columnCount) * StackLayout::cellWidth), int((i / columnCount) * StackLayout::cellHeight),
                          int(StackLayout::cellWidth), int(StackLayout::cellHeight));
        cell->setSelected(selected == i);
        cell->onSelect = [this, i] {
            if (onSelect)
                onSelect(i);
        };
        cell->onOpen = [this, i] {
            if (onOpen)
                onOpen(i);
        };
        cell->onReveal = [this, i] {
            if (onReveal)
                onReveal(i);
        };
        cell->onPreview = [this] {
            if (onPreview)
                onPreview();
        };
        cell->onDragStarted = [this] {
            draggingFile = true;
            if (onDragStarted)
                onDragStarted();
        };
        cell->onDragEnded = [this](Qt::DropAction action) {
            draggingFile = false;
            if (onDragEnded)
                onDragEnded(action);
        };
        cell->show();
        cells[i] = cell;
        if (onCellCreated)
            onCellCreated(*cell);
    }
}

void StackGridView::setSelection(std::optional<int> index)
{
    selected = index;
    for (const auto& [i, cell] : cells)
        cell->setSelected(index == i);
}

} // namespace wharf
