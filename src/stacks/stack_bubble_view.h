#pragma once

#include <QPainterPath>
#include <QWidget>

namespace wharf {

// The dark rounded bubble of an open stack with its arrow pointing down at the dock icon.
class StackBubbleView : public QWidget {
public:
    explicit StackBubbleView(QSize size, QWidget* parent = nullptr);

    // The arrow's tip, from the left edge; kept 25 points inside either side.
    void setArrowX(double x);
    double arrowX() const { return arrow; }

    // The outline: body from the top down to 13 points above the bottom, the arrow below it.
    static QPainterPath bubblePath(QSizeF size, double arrowX);
    static double arrowTip(double width, double arrowX);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double arrow = 0;
};

} // namespace wharf
