#pragma once

#include "platform/launcher_entries.h"

#include <QRectF>
#include <QString>

#include <map>
#include <optional>

class QPainter;

namespace wharf {

// An application's badge: the label it asks for, cleaned for storage, shortened for display and
// drawn as a red rounded badge over the icon's top-right corner.
struct DockBadge {
    // Progress and the request for attention published beside the label.
    struct Status {
        std::optional<double> progress; // 0…1 while shown
        bool urgent = false;
        bool operator==(const Status&) const = default;
    };

    // The stored badge: trimmed, none for "" and "0", at most 64 characters.
    static std::optional<QString> label(const std::optional<QString>& raw);
    // What is drawn: "999+" above 999, short labels as they are, others cut to three and "…".
    static QString display(const QString& label);

    // The label and status an application's launcher entry asks for.
    static std::optional<QString> rawLabel(const std::optional<LauncherEntry>& entry);
    static Status status(const std::optional<LauncherEntry>& entry);

    // Geometry in widget coordinates (y down); `iconRect` is the icon's placed frame.
    static double height(const QRectF& iconRect);
    static QRectF frame(const QString& label, const QRectF& iconRect);
    // Everything the badge may paint, its shadow included.
    static QRectF paintedFrame(const QString& label, const QRectF& iconRect);
    static void draw(QPainter& painter, const QString& label, const QRectF& iconRect);
};

// Which applications may show badges, by desktop-file id. The desktop keeps no such setting:
// every application is allowed.
struct DockBadgeSettings {
    static std::map<QString, bool> read() { return {}; }
};

} // namespace wharf
