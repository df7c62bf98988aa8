#pragma once

#include <QString>
#include <QWidget>

namespace wharf {

// The hover label's window: a rounded backdrop with one line of text, elided at the tail when
// too long. It takes no input and never the focus.
class DockHoverLabelWindow : public QWidget {
    Q_OBJECT

public:
    explicit DockHoverLabelWindow(QWidget* dock);

    void setText(const QString& text); // repaints only when the text differs
    QString text() const { return label; }
    double naturalWidth() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString label;
};

} // namespace wharf
