#include "settings/dock_appearance.h"

namespace wharf {

QString rawValue(DockAppearance appearance)
{
    switch (appearance) {
    case DockAppearance::light: return QStringLiteral("light");
    case DockAppearance::dark: return QStringLiteral("dark");
    case DockAppearance::automatic: return QStringLiteral("automatic");
    }
    return {};
}

std::optional<DockAppearance> dockAppearance(const QString& text)
{
    for (auto appearance : allDockAppearances) {
        if (rawValue(appearance) == text)
            return appearance;
    }
    return std::nullopt;
}

bool isDark(DockAppearance appearance, bool platformIsDark)
{
    switch (appearance) {
    case DockAppearance::light: return false;
    case DockAppearance::dark: return true;
    case DockAppearance::automatic: return platformIsDark;
    }
    return false;
}

} // namespace wharf
