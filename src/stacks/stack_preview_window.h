#pragma once

#include "stacks/stack_entry.h"

#include <QIcon>
#include <QWidget>

#include <functional>

class QLabel;

namespace wharf {

// Wharf's own quick preview of a stack entry: an image, the start of a text file, or the
// entry's icon with its kind, size and date.
class StackPreviewWindow : public QWidget {
public:
    StackPreviewWindow();

    void showEntry(const StackEntry& entry, const QIcon& icon, const QRect& over);
    const StackEntry& entry() const { return shownEntry; }
    // "image", "text" or "icon".
    const QString& kind() const { return shownKind; }

    // Space or Escape: hide the preview and leave the stack open.
    std::function<void()> onHide;
    // Other keys go to the stack, so the arrows move the selection and the preview follows.
    std::function<bool(QKeyEvent*)> onKey;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    QLabel* title;
    QLabel* body;
    StackEntry shownEntry;
    QString shownKind;
};

} // namespace wharf
