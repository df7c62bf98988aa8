#pragma once

#include "stacks/stack_entry.h"

#include <QIcon>
#include <QImage>
#include <QPoint>
#include <QWidget>

#include <functional>
#include <optional>

namespace wharf {

// One entry of an open stack, drawn as a fan card or a grid cell. Hovering selects; a click
// opens (Ctrl reveals it in Files); a press that moves 5 points drags the file out.
class StackItemView : public QWidget {
public:
    StackItemView(StackEntry entry, QIcon icon, bool fan, bool labelOnLeft, QWidget* parent = nullptr);

    const StackEntry& entry() const { return item; }
    bool selected() const { return isSelected; }
    void setSelected(bool selected);
    // The entry's thumbnail, drawn instead of the icon once it arrives.
    void setPreview(const QImage& image, const QString& source);
    const QString& previewSource() const { return source; }

    // Fan cards lean a little more the higher they sit (radians, counter-clockwise).
    void setRotation(double radians) { rotation = radians; }

    // A drag starts once the pointer has moved this far from the press.
    static constexpr double dragThreshold = 5;
    static bool beyondDragThreshold(QPointF press, QPointF now);

    std::function<void()> onSelect;
    std::function<void()> onOpen;
    std::function<void()> onReveal;
    std::function<void()> onPreview;
    std::function<void()> onDragStarted;
    std::function<void(Qt::DropAction)> onDragEnded;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void startDrag();

    StackEntry item;
    QIcon icon;
    QImage preview;
    QString source;
    bool fan;
    bool labelOnLeft;
    bool isSelected = false;
    double rotation = 0;
    bool dragging = false;
    std::optional<QPointF> mouseDownPoint;
};

} // namespace wharf
