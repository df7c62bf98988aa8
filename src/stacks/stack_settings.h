#pragma once

#include <QString>

#include <array>
#include <optional>

namespace wharf {

enum class StackViewMode { automatic, fan, grid, list };
enum class StackSortOrder { name, dateAdded, dateModified, dateCreated, kind };
enum class StackDisplayMode { folder, stack };

// A folder's stack settings; the raw values below are also what is stored.
struct StackSettings {
    StackViewMode viewMode = StackViewMode::automatic;
    StackSortOrder sortOrder = StackSortOrder::name;
    StackDisplayMode displayMode = StackDisplayMode::folder;

    bool operator==(const StackSettings&) const = default;
};

inline constexpr std::array allStackViewModes{StackViewMode::automatic, StackViewMode::fan, StackViewMode::grid,
                                              StackViewMode::list};
inline constexpr std::array allStackSortOrders{StackSortOrder::name, StackSortOrder::dateAdded,
                                               StackSortOrder::dateModified, StackSortOrder::dateCreated,
                                               StackSortOrder::kind};
inline constexpr std::array allStackDisplayModes{StackDisplayMode::folder, StackDisplayMode::stack};

QString rawValue(StackViewMode mode);
QString rawValue(StackSortOrder order);
QString rawValue(StackDisplayMode mode);

// Parsing of stored case names; unknown names have no case.
std::optional<StackViewMode> stackViewMode(const QString& raw);
std::optional<StackSortOrder> stackSortOrder(const QString& raw);
std::optional<StackDisplayMode> stackDisplayMode(const QString& raw);

} // namespace wharf
