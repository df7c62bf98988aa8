#include "stacks/stack_settings.h"

namespace wharf {

namespace {

template <typename Enum, std::size_t N>
std::optional<Enum> parse(const QString& raw, const std::array<Enum, N>& all)
{
    for (const Enum value : all) {
        if (rawValue(value) == raw)
            return value;
    }
    return std::nullopt;
}

} // namespace

QString rawValue(StackViewMode mode)
{
    switch (mode) {
    case StackViewMode::automatic: return QStringLiteral("automatic");
    case StackViewMode::fan: return QStringLiteral("fan");
    case StackViewMode::grid: return QStringLiteral("grid");
    case StackViewMode::list: return QStringLiteral("list");
    }
    return {};
}

QString rawValue(StackSortOrder order)
{
    switch (order) {
    case StackSortOrder::name: return QStringLiteral("name");
    case StackSortOrder::dateAdded: return QStringLiteral("dateAdded");
    case StackSortOrder::dateModified: return QStringLiteral("dateModified");
    case StackSortOrder::dateCreated: return QStringLiteral("dateCreated");
    case StackSortOrder::kind: return QStringLiteral("kind");
    }
    return {};
}

QString rawValue(StackDisplayMode mode)
{
    switch (mode) {
    case StackDisplayMode::folder: return QStringLiteral("folder");
    case StackDisplayMode::stack: return QStringLiteral("stack");
    }
    return {};
}

std::optional<StackViewMode> stackViewMode(const QString& raw) { return parse(raw, allStackViewModes); }
std::optional<StackSortOrder> stackSortOrder(const QString& raw) { return parse(raw, allStackSortOrders); }
std::optional<StackDisplayMode> stackDisplayMode(const QString& raw) { return parse(raw, allStackDisplayModes); }

} // namespace wharf
