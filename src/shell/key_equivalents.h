#pragma once

#include <QObject>

#include <functional>

namespace wharf {

// The menu commands' keys (Ctrl+, for the settings, Ctrl+Q to quit), which work while any Wharf
// window has the keyboard: the settings window or a dock in keyboard mode.
class KeyEquivalents : public QObject {
    Q_OBJECT

public:
    KeyEquivalents(std::function<void()> showSettings, std::function<void()> quit, QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<void()> showSettings;
    std::function<void()> quit;
};

} // namespace wharf
