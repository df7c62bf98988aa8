#include "shell/settings_controller.h"

#include "dock/dock_layout.h"
#include "settings/dock_appearance.h"
#include "settings/dock_preferences.h"
#include "shell/login_item.h"
#include "takeover/system_dock_integration.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QLabel>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <ctime>

Q_LOGGING_CATEGORY(lcSettings, "wharf.settings", QtInfoMsg)

namespace wharf {
namespace {

// Sliders count in whole steps: thousandths of the display width, hundredths of magnification.
constexpr double widthScale = 1000;
constexpr double magnifyScale = 100;
constexpr double minimumMagnification = 1.0;
constexpr double maximumMagnification = 2.2;

QLabel* note(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(std::max(6.0, font.pointSizeF() - 2));
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QLabel* valueLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setFixedWidth(56);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace

WidthSliderRange widthSliderRange(const std::optional<DockSizing>& dock, double storedFraction)
{
    if (!dock)
        return {0.1, DockLayout::maximumWidthFraction, storedFraction};
    const double width = std::max(1.0, dock->width);
    const auto fractionAt = [&](double iconSize) {
        return std::min(DockLayout::maximumWidthFraction,
                        DockLayout::preferredWidth(dock->count, iconSize, dock->separatorIndex) / width);
    };
    WidthSliderRange range;
    range.minimum = fractionAt(DockLayout::minimumIconSize);
    range.maximum = std::max(range.minimum, fractionAt(DockLayout::maximumIconSize));
    range.value = dock->actualWidthFraction;
    return range;
}

SettingsController::SettingsController(Context context, QWidget* parent)
    : QWidget(parent, Qt::Window), context(std::move(context))
{
    setWindowTitle(tr("Wharf Settings"));
    setObjectName(QStringLiteral("WharfSettings"));
    setFixedWidth(510);
    setLayout(new QVBoxLayout);
    presentError = [this](const QString& text, const QString& informativeText) {
        qCWarning(lcSettings, "%s %s", qUtf8Printable(text), qUtf8Printable(informativeText));
        auto* box = new QMessageBox(QMessageBox::Warning, tr("Wharf"), text, QMessageBox::Ok, this);
        box->setInformativeText(informativeText);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setWindowModality(Qt::WindowModal);
        box->open();
    };
    build();
}

void SettingsController::build()
{
    DockPreferences& preferences = *context.preferences;
    content = new QWidget(this);
    layout()->addWidget(content);
    auto* rows = new QVBoxLayout(content);
    rows->setSpacing(8);

    auto* title = new QLabel(tr("Wharf"), content);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 2.3);
    title->setFont(titleFont);
    rows->addWidget(title);
    auto* subtitle = new QLabel(tr("A familiar place for your desktop."), content);
    subtitle->setForegroundRole(QPalette::PlaceholderText);
    rows->addWidget(subtitle);
    rows->addSpacing(12);

    const auto sliderRow = [&](const QString& text, QPointer<QLabel>& value, QPointer<QSlider>& slider) {
        auto* grid = new QGridLayout;
        auto* label = new QLabel(text, content);
        value = valueLabel(content);
        slider = new QSlider(Qt::Horizontal, content);
        slider->setTracking(true);
        label->setBuddy(slider);
        grid->addWidget(label, 0, 0);
        grid->addWidget(value, 0, 1);
        grid->addWidget(slider, 1, 0, 1, 2);
        rows->addLayout(grid);
    };
    sliderRow(tr("Dock width"), sizeLabel, iconSlider);
    iconSlider->setAccessibleName(tr("Dock width"));
    iconSlider->setToolTip(tr("Icons scale with the Dock. You can also drag its divider to resize."));
    iconSlider->setSingleStep(10);
    iconSlider->setPageStep(50);
    connect(iconSlider, &QSlider::valueChanged, this, &SettingsController::changeSize);

    sliderRow(tr("Magnification"), magnifyLabel, magnifySlider);
    magnifySlider->setAccessibleName(tr("Magnification"));
    magnifySlider->setRange(int(minimumMagnification * magnifyScale), int(maximumMagnification * magnifyScale));
    magnifySlider->setSingleStep(5);
    magnifySlider->setPageStep(20);
    connect(magnifySlider, &QSlider::valueChanged, this, &SettingsController::changeMagnification);

    const auto checkBox = [&](const QString& text, bool on, void (SettingsController::*action)(bool),
                              const QString& toolTip = {}) {
        auto* box = new QCheckBox(text, content);
        box->setChecked(on);
        box->setToolTip(toolTip);
        // Clicks only: state changes made in code must not write anything.
        connect(box, &QCheckBox::clicked, this, action);
        rows->addWidget(box);
        return box;
    };
    autoHideButton = checkBox(tr("Automatically hide and show Wharf"), preferences.autoHide(),
                              &SettingsController::toggleAutoHide);
    checkBox(tr("Show on every display"), preferences.allDisplays(), &SettingsController::toggleDisplays);

    SystemDockIntegration& integration = *context.integration;
    replaceButton = checkBox(tr("Compatibility mode: keep the system Dock available"), !integration.isEnabled(),
                             &SettingsController::toggleReplace);
    if (integration.nativeDockAvailable()) {
        rows->addWidget(note(tr("Configure the system Dock yourself. Suggested: position Right and automatically "
                                "hide/show."), content));
    } else {
        // Nothing to hide or give back: the box cannot change anything.
        replaceButton->setEnabled(false);
        rows->addWidget(note(SystemDockIntegration::noNativeDockMessage(), content));
    }

    loginButton = checkBox(tr("Open at login"), context.loginItem->isEnabled(), &SettingsController::toggleLogin);
    checkBox(tr("Keep windows above Wharf"), preferences.keepWindowsAboveDock(),
             &SettingsController::toggleKeepWindowsAbove,
             tr("Keeps windows above the resting icons. Magnification can overlap windows. Requires Window "
                "Controls; pauses when automatic hiding is enabled."));
    trashAppearanceButton = checkBox(tr("Always show the empty Trash icon"), preferences.alwaysEmptyTrashIcon(),
                                     &SettingsController::toggleTrashAppearance,
                                     tr("Changes the icon only. Files remain in the Trash."));

    // X11 needs no permission to control windows, so the row only says so.
    auto* buttons = new QHBoxLayout;
    auto* windowControls = new QPushButton(tr("Window Controls Enabled"), content);
    windowControls->setEnabled(false);
    buttons->addWidget(windowControls);
    if (context.openSystemDockSettings) {
        auto* dockSettings = new QPushButton(tr("System Dock Settings…"), content);
        connect(dockSettings, &QPushButton::clicked, this, [this] { context.openSystemDockSettings(); });
        buttons->addWidget(dockSettings);
    }
    buttons->addStretch();
    rows->addLayout(buttons);

    auto* appearanceRow = new QHBoxLayout;
    auto* appearanceLabel = new QLabel(tr("Appearance"), content);
    auto* appearance = new QComboBox(content);
    appearance->addItems({tr("Light"), tr("Dark"), tr("Automatic")});
    appearance->setCurrentIndex(int(preferences.dockAppearance()));
    appearance->setToolTip(tr("Automatic follows the system’s Light or Dark appearance."));
    appearanceLabel->setBuddy(appearance);
    connect(appearance, &QComboBox::activated, this, &SettingsController::changeDockAppearance);
    appearanceRow->addWidget(appearanceLabel);
    appearanceRow->addWidget(appearance, 1);
    rows->addLayout(appearanceRow);
    rows->addStretch();

    updateSizingControls();
    iconSlider->setFocus();
}

QPoint restoredWindowPosition(const std::optional<WindowPlacement>& saved, QSize frameSize,
                              const std::vector<DisplayArea>& displays)
{
    if (displays.empty())
        return saved ? saved->position : QPoint();
    const DisplayArea* display = &displays.front();
    if (saved) {
        const auto found = std::find_if(displays.begin(), displays.end(),
                                        [&](const DisplayArea& d) { return d.name == saved->display; });
        if (found != displays.end()) {
            // Pushed back inside along each axis; a window larger than the area keeps its top-left edge in.
            const QRect area = found->available;
            const int x = std::max(area.left(), std::min(saved->position.x(), area.right() + 1 - frameSize.width()));
            const int y = std::max(area.top(), std::min(saved->position.y(), area.bottom() + 1 - frameSize.height()));
            return {x, y};
        }
    }
    const QRect area = display->available;
    return {area.x() + std::max(0, (area.width() - frameSize.width()) / 2),
            area.y() + std::max(0, (area.height() - frameSize.height()) / 2)};
}

SettingsController::~SettingsController() { rememberPosition(); }

std::optional<WindowPlacement> SettingsController::savedPlacement() const
{
    const QSettings& store = context.preferences->defaults();
    const QVariant position = store.value(positionKey);
    const QVariant display = store.value(displayKey);
    // A hand-edited value of another type reads as nothing saved.
    if (position.typeId() != QMetaType::QPoint || display.typeId() != QMetaType::QString)
        return std::nullopt;
    return WindowPlacement{display.toString(), position.toPoint()};
}

void SettingsController::rememberPosition()
{
    if (isVisible())
        storePosition();
}

void SettingsController::storePosition()
{
    const QScreen* display = screen();
    QSettings& store = context.preferences->defaults();
    // No onChange: where this window sits concerns no dock.
    store.setValue(positionKey, frameGeometry().topLeft());
    store.setValue(displayKey, display ? display->name() : QString());
}

void SettingsController::present()
{
    if (!isVisible()) {
        adjustSize();
        std::vector<DisplayArea> displays;
        const QScreen* primary = QGuiApplication::primaryScreen();
        if (primary)
            displays.push_back({primary->name(), primary->availableGeometry()});
        for (const QScreen* screen : QGuiApplication::screens()) {
            if (screen != primary)
                displays.push_back({screen->name(), screen->availableGeometry()});
        }
        // Before the first show the frame's size is unknown; the window's own size stands in.
        const QSize frame = frameGeometry().size().expandedTo(size());
        move(restoredWindowPosition(savedPlacement(), frame, displays));
    }
    presenting = true;
    show();
    raise();
    activateWindow();
}

void SettingsController::refresh()
{
    delete content;
    content = nullptr;
    build();
}

void SettingsController::updateSizingControls()
{
    if (!iconSlider)
        return;
    DockPreferences& preferences = *context.preferences;
    const auto dock = context.dockSizing ? context.dockSizing() : std::nullopt;
    const WidthSliderRange range = widthSliderRange(dock, preferences.dockWidthFraction());
    {
        const QSignalBlocker widthBlocker(iconSlider);
        iconSlider->setRange(int(std::lround(range.minimum * widthScale)), int(std::lround(range.maximum * widthScale)));
        // The user's drag wins over the value the docks report back.
        if (!iconSlider->isSliderDown())
            iconSlider->setValue(int(std::lround(range.value * widthScale)));
    }
    if (!magnifySlider->isSliderDown() && !magnifySlider->hasFocus()) {
        const QSignalBlocker magnifyBlocker(magnifySlider);
        magnifySlider->setValue(int(std::lround(preferences.magnification() * magnifyScale)));
    }
    const QSignalBlocker trashBlocker(trashAppearanceButton);
    trashAppearanceButton->setChecked(preferences.alwaysEmptyTrashIcon());
    updateLabels();
}

void SettingsController::updateLabels()
{
    if (!sizeLabel)
        return;
    const auto dock = context.dockSizing ? context.dockSizing() : std::nullopt;
    const double fraction = dock ? dock->actualWidthFraction : context.preferences->dockWidthFraction();
    sizeLabel->setText(tr("%1%").arg(std::lround(fraction * 100)));
    magnifyLabel->setText(tr("%1×").arg(context.preferences->magnification(), 0, 'f', 1));
}

void SettingsController::changeSize()
{
    context.preferences->setDockWidthFraction(iconSlider->value() / widthScale);
    updateLabels();
}

void SettingsController::changeMagnification()
{
    context.preferences->setValue(DockPreferences::magnificationKey, magnifySlider->value() / magnifyScale);
    updateLabels();
}

void SettingsController::writeBool(const QString& key, bool on) { context.preferences->setValue(key, on); }

void SettingsController::toggleAutoHide(bool on) { writeBool(DockPreferences::autoHideKey, on); }
void SettingsController::toggleDisplays(bool on) { writeBool(DockPreferences::allDisplaysKey, on); }
void SettingsController::toggleKeepWindowsAbove(bool on) { writeBool(DockPreferences::keepWindowsAboveDockKey, on); }
void SettingsController::toggleTrashAppearance(bool on) { writeBool(DockPreferences::alwaysEmptyTrashIconKey, on); }

void SettingsController::changeDockAppearance(int index)
{
    if (index >= 0 && index <= int(DockAppearance::automatic))
        context.preferences->setDockAppearance(DockAppearance(index));
}

void SettingsController::toggleReplace(bool on)
{
    SystemDockIntegration& integration = *context.integration;
    const Status changed = on ? integration.restore() : integration.enable();
    if (!changed) {
        const QSignalBlocker blocker(replaceButton);
        replaceButton->setChecked(!integration.isEnabled());
        presentError(on ? tr("Couldn’t restore the system Dock") : tr("Couldn’t hide the system Dock"),
                     changed.error().message);
        return;
    }
    writeBool(DockPreferences::replaceSystemDockKey, !on);
}

void SettingsController::toggleLogin(bool on)
{
    LoginItem& login = *context.loginItem;
    const Status status = login.setEnabled(on);
    if (!status) {
        const QSignalBlocker blocker(loginButton);
        loginButton->setChecked(login.isEnabled());
        presentError(on ? tr("Couldn’t open Wharf at login") : tr("Couldn’t stop opening Wharf at login"),
                     status.error().message);
    }
}

void SettingsController::paintEvent(QPaintEvent* event)
{
    QWidget::paintEvent(event);
    if (!presenting)
        return;
    presenting = false;
    // The benchmark compares this with the moment it asked for the window.
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    qCDebug(lcSettings, "Settings window shown at %lld us",
            static_cast<long long>(now.tv_sec) * 1000000 + now.tv_nsec / 1000);
}

void SettingsController::hideEvent(QHideEvent* event)
{
    // A close, not a minimize.
    if (!event->spontaneous())
        storePosition();
    QWidget::hideEvent(event);
}

} // namespace wharf
