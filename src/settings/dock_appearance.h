#pragma once

#include <QString>

#include <array>
#include <optional>

namespace wharf {

// The dock's light/dark choice; the raw texts are also the stored values.
enum class DockAppearance { light, dark, automatic };

inline constexpr std::array<DockAppearance, 3> allDockAppearances{
    DockAppearance::light, DockAppearance::dark, DockAppearance::automatic};

QString rawValue(DockAppearance appearance);
std::optional<DockAppearance> dockAppearance(const QString& rawValue);
// Whether the dock draws dark; `automatic` follows the desktop's colour scheme.
bool isDark(DockAppearance appearance, bool platformIsDark);

} // namespace wharf
