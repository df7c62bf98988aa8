#pragma once

#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

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

// A display a window can be placed on: its name and usable area, in global coordinates.
struct DisplayArea {
    QString name;
    QRect available;
};

// Where the settings window was left: the top-left of its frame and the display it was on.
struct WindowPlacement {
    QString display;
    QPoint position;
};

// Where the settings window opens: where it was left, moved the least needed to lie inside that
// display's usable area; centred on the primary display (the first of `displays`) when nothing was
// saved or that display is gone.
QPoint restoredWindowPosition(const std::optional<WindowPlacement>& saved, QSize frameSize,
                              const std::vector<DisplayArea>& displays);

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

    // Where the window was left, kept with the other settings across runs.
    static inline const QString positionKey = QStringLiteral("settingsWindowPosition");
    static inline const QString displayKey = QStringLiteral("settingsWindowDisplay");

    explicit SettingsController(Context context, QWidget* parent = nullptr);
    ~SettingsController() override;

    // Shows the window where the user left it (centred the first time), in front, with the focus.
    void present();
    void build();
    // Rebuilds every control from the stored values.
    void refresh();
    void updateSizingControls();
    void updateLabels();
    // Stores where the window is, when it is shown (on quit, and whenever it is closed).
    void rememberPosition();
    // What is stored; none when nothing (or something unreadable) is.
    std::optional<WindowPlacement> savedPlacement() const;

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
    void storePosition();

    Context context;
    QWidget* content = nullptr;
    bool presenting = false;
};

} // namespace wharf
