// Badge text: what is stored and what is drawn. (What a launcher entry shows or hides, and where
// the badge sits, are checked end to end from the signal applications send.)
#include "model/dock_badge.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(DockBadge, StoredLabelIsTrimmedAndBounded)
{
    const struct {
        const char* name;
        std::optional<QString> raw;
        std::optional<QString> stored;
    } rows[] = {
        {"absent", std::nullopt, std::nullopt},
        {"spaces and a line break around digits", QStringLiteral(" 12\n"), QStringLiteral("12")},
        {"only spaces", QStringLiteral("   "), std::nullopt},
        {"zero", QStringLiteral("0"), std::nullopt},
        {"long text", QString(70, QLatin1Char('x')), QString(64, QLatin1Char('x'))},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DockBadge::label(row.raw), row.stored) << row.name;
    // A surrogate pair straddling the cut is dropped whole.
    const QString emoji = QString(63, QLatin1Char('a')) + QString::fromUtf8("😀");
    EXPECT_EQ(DockBadge::label(emoji)->size(), 63);
}

TEST(DockBadge, DisplayedFormIsShort)
{
    const struct {
        const char* label;
        const char* shown;
    } rows[] = {
        {"1000", "999+"},
        {"999", "999"},
        {"+1000", "999+"},
        {"123456789012345678901234567890", "999+"}, // beyond any integer type
        {"-5000", "-50…"},                          // not above 999, five characters
        {"0999", "0999"},
        {"new", "new"},
        {"hello", "hel…"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DockBadge::display(QString::fromUtf8(row.label)), QString::fromUtf8(row.shown)) << row.label;
}

TEST(DockBadge, GrowsWithItsTextAndHasAFloor)
{
    const QRectF icon(100, 200, 64, 64);
    EXPECT_DOUBLE_EQ(DockBadge::height(QRectF(0, 0, 16, 16)), 12) << "never smaller than 12";
    const QRectF badge = DockBadge::frame(QStringLiteral("3"), icon);
    EXPECT_GE(badge.width(), badge.height()) << "a single digit is a circle";
    EXPECT_GT(DockBadge::frame(QStringLiteral("999+"), icon).width(), badge.width());
    EXPECT_TRUE(DockBadge::paintedFrame(QStringLiteral("3"), icon).contains(badge));
}

} // namespace
} // namespace wharf
