#pragma once

#include <QString>
#include <QStringList>

namespace wharf {

// Without a desktop session Qt's icon theme is "hicolor" and most themed icons are
// null. Picks the user's GNOME icon theme, else Adwaita, with a fallback theme, and
// returns the theme now in use. Call once at start-up, after QGuiApplication exists.
QString setUpIconTheme();

// Follows the user choosing another GNOME icon theme while Wharf runs: switches to it when it is
// installed. True when Qt's theme changed.
bool followIconTheme(const QString& gnomeTheme);

// The choice itself: `current` is Qt's theme, `gnomeTheme` GNOME's `icon-theme`
// (empty when unknown), `installed` the theme folders found. First the theme to use,
// then the fallback theme.
std::pair<QString, QString> chooseIconThemes(const QString& current, const QString& gnomeTheme,
                                             const QStringList& installed);

} // namespace wharf
