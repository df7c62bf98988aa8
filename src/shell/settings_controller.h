#pragma once

#include <QPoint>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;
class QLabel;
class QSlider;

namespace wharf {

class DockPreferences;
class LoginItem;
class SystemDockIntegration;

// The width slider's range and value, as fractions of the display width.
struct WidthSliderRange {
    double minimum = 0.1;
    double maximum = 0.98;
    double value = 0.86;
};

// What the width slider needs of the first dock: its entries and width.
struct DockSizing {
    int count = 0;
    std::optional<int> separatorIndex;
    double width = 0;
    double actualWidthFraction = 0;
};

// From the widths the dock takes at the smallest and largest icon size; without a dock, 0.1 to 0.98
// around the stored fraction.
WidthSliderRange widthSliderRange(const std::optional<DockSizing>& dock, double storedFraction);

// The settings window. Every control writes its setting at once and announces it, so the docks
// follow while the user drags or clicks. Closing only hides it.
class SettingsController : public QWidget {
    Q_OBJECT

public:
    struct Context {
        DockPreferences* preferences = nullptr;      // required
        SystemDockIntegration* integration = nullptr; // required
        LoginItem* loginItem = nullptr;               // required
        std::function<std::optional<DockSizing>()> dockSizing;
        // Opens the desktop dock's own settings; empty when it has none.
        std::function<void()> openSystemDockSettings;
    };

    explicit SettingsController(Context context, QWidget* parent = nullptr);

    // Shows the window where the user left it (centred the first time), in front, with the focus.
    void present();
    void build();
    // Rebuilds every control from the stored values.
    void refresh();
    void updateSizingControls();
    void updateLabels();

    // Presents a failure inside the window without blocking the caller.
    std::function<void(const QString& text, const QString& informativeText)> presentError;

    // The controls, for the delegate and tests; null before build().
    QPointer<QSlider> iconSlider;
    QPointer<QSlider> magnifySlider;
    QPointer<QCheckBox> replaceButton;
    QPointer<QLabel> sizeLabel;
    QPointer<QLabel> magnifyLabel;
    QPointer<QCheckBox> trashAppearanceButton;
    QPointer<QCheckBox> autoHideButton;
    QPointer<QCheckBox> loginButton;

    void changeSize();
    void changeMagnification();
    void toggleAutoHide(bool on);
    void toggleDisplays(bool on);
    void toggleReplace(bool on);
    void toggleLogin(bool on);
    void toggleKeepWindowsAbove(bool on);
    void toggleTrashAppearance(bool on);
    void changeDockAppearance(int index);

protected:
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void writeBool(const QString& key, bool on);

    Context context;
    QWidget* content = nullptr;
    std::optional<QPoint> lastPosition;
    bool presenting = false;
};

} // namespace wharf
