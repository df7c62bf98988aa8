#pragma once

#include <QWidget>

namespace wharf {

class DockView;

// The handle over the separator between the applications and the other entries: dragging it
// resizes the dock (DockDivider), its context menu is the application's menu. It shows the
// up-down resize cursor and is a splitter to assistive technology.
class DockDividerView : public QWidget {
    Q_OBJECT

public:
    static inline const QString toolTipText =
        QStringLiteral("Drag up or outward to enlarge Wharf; down or inward to shrink it.");

    explicit DockDividerView(DockView& dock);
    DockView& dock() const { return view; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    QPointF inDock(const QPointF& local) const;

    DockView& view;
    bool dragging = false;
};

// Installs the splitter's accessibility (label, help, value, increment and decrement).
void installDividerAccessibility();

} // namespace wharf
