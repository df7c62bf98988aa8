#pragma once

#include <QString>
#include <QWidget>

class QPainter;

namespace wharf {

// The hover label's window: a rounded backdrop with one line of text, elided at the tail when
// too long. It takes no input and never the focus.
class DockHoverLabelWindow : public QWidget {
    Q_OBJECT

public:
    explicit DockHoverLabelWindow(QWidget* dock);

    void setText(const QString& text); // repaints only when the text differs
    QString text() const { return label; }

    // The width of `text` on one line, and the label itself drawn in `area` of any device: the
    // dock draws it with this when it shows the label in its own window.
    static double naturalWidth(const QString& text);
    static void paint(QPainter& painter, const QRectF& area, const QString& text);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString label;
};

} // namespace wharf
