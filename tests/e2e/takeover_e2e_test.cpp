// The wharf executable taking over the real Dash to Dock settings (keyfile backend) in a private
// desktop session: quitting, kill -9 of Wharf or of its helper, the command-line restore, and a
// second Wharf of the same user in another session.
#include "e2e_session.h"

#include "takeover/takeover_test_support.h"

#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

#include <csignal>

namespace wharf::e2e {
namespace {

using test::DockValues;

const DockValues userValues{
    {QStringLiteral("dock-fixed"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}},
    {QStringLiteral("autohide"), NativeDockValue{QStringLiteral("b"), QStringLiteral("false")}},
    {QStringLiteral("intellihide"), std::nullopt},
    {QStringLiteral("show-delay"), NativeDockValue{QStringLiteral("d"), QStringLiteral("0.75")}},
    {QStringLiteral("require-pressure-to-show"), std::nullopt},
};

DockValues hidingValues()
{
    return {{QStringLiteral("dock-fixed"), NativeDockValue{QStringLiteral("b"), QStringLiteral("false")}},
            {QStringLiteral("autohide"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}},
            {QStringLiteral("intellihide"), NativeDockValue{QStringLiteral("b"), QStringLiteral("false")}},
            {QStringLiteral("show-delay"), NativeDockValue{QStringLiteral("d"), QStringLiteral("1000.0")}},
            {QStringLiteral("require-pressure-to-show"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}}};
}

// A session whose user has Dash to Dock with values of their own.
class TakeoverSession {
public:
    explicit TakeoverSession(const TakeoverSession* sharingHomeWith = nullptr)
    {
        session.setEnv(QStringLiteral("GSETTINGS_SCHEMA_DIR"), qEnvironmentVariable("GSETTINGS_SCHEMA_DIR"));
        const E2eSession& home = sharingHomeWith ? sharingHomeWith->session : session;
        if (sharingHomeWith) {
            session.setEnv(QStringLiteral("HOME"), home.home());
            session.setEnv(QStringLiteral("XDG_CONFIG_HOME"), home.configHome());
            session.setEnv(QStringLiteral("XDG_DATA_HOME"), home.dataHome());
        }
        keyfile = home.configHome() + QStringLiteral("/glib-2.0/settings/keyfile");
        backupPath = home.dataHome() + QStringLiteral("/wharf/system-dock-backup.plist");
        if (!sharingHomeWith)
            test::writeKeyfileValues(keyfile, userValues);
    }

    DockValues values() const { return test::readKeyfileValues(keyfile, test::dashToDockKeys()); }
    bool valuesBecome(const DockValues& expected) const
    {
        return E2eSession::waitFor([&] { return values() == expected; });
    }
    bool backupGone() const
    {
        return E2eSession::waitFor([&] { return !QFile::exists(backupPath); });
    }
    qint64 helper() const
    {
        qint64 pid = 0;
        E2eSession::waitFor([&] {
            const auto helpers = test::recoveryHelpers(backupPath);
            pid = helpers.size() == 1 ? helpers.first() : 0;
            return pid != 0;
        });
        return pid;
    }
    bool noHelpers() const
    {
        return E2eSession::waitFor([&] { return test::recoveryHelpers(backupPath).isEmpty(); });
    }

    E2eSession session;
    QString keyfile;
    QString backupPath;
};

class TakeoverE2eTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
        WHARF_REQUIRE_SESSION(desktop.session);
        ASSERT_EQ(desktop.values(), userValues);
    }
    TakeoverSession desktop;
};

TEST_F(TakeoverE2eTest, QuittingGivesBackExactlyWhatTheUserHad)
{
    QProcess* wharf = desktop.session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ASSERT_TRUE(desktop.valuesBecome(hidingValues()));
    const qint64 helper = desktop.helper();
    EXPECT_GT(helper, 0);

    ::kill(pid_t(wharf->processId()), SIGTERM);
    ASSERT_TRUE(wharf->waitForFinished(10000));
    EXPECT_EQ(wharf->exitCode(), 0);
    EXPECT_EQ(desktop.values(), userValues);
    EXPECT_FALSE(QFile::exists(desktop.backupPath));
    EXPECT_TRUE(desktop.noHelpers());
    const QString err = QString::fromUtf8(wharf->readAllStandardError());
    EXPECT_TRUE(err.contains(QStringLiteral("native Dock replaced: true"))) << err.toStdString();
    EXPECT_FALSE(err.contains(QStringLiteral("Restore failed"))) << err.toStdString();
}

TEST_F(TakeoverE2eTest, KilledWharfIsRepairedByItsHelper)
{
    QProcess* wharf = desktop.session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ASSERT_TRUE(desktop.valuesBecome(hidingValues()));
    ASSERT_GT(desktop.helper(), 0);
    wharf->kill();
    EXPECT_TRUE(desktop.backupGone());
    EXPECT_EQ(desktop.values(), userValues);
    EXPECT_TRUE(desktop.noHelpers());
}

TEST_F(TakeoverE2eTest, KilledHelperMakesWharfRestoreAtOnce)
{
    QProcess* wharf = desktop.session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ASSERT_TRUE(desktop.valuesBecome(hidingValues()));
    const qint64 helper = desktop.helper();
    ASSERT_GT(helper, 0);
    ::kill(pid_t(helper), SIGKILL);
    EXPECT_TRUE(desktop.backupGone());
    EXPECT_EQ(desktop.values(), userValues);
    EXPECT_EQ(wharf->state(), QProcess::Running);

    ::kill(pid_t(wharf->processId()), SIGTERM);
    ASSERT_TRUE(wharf->waitForFinished(10000));
    EXPECT_FALSE(QString::fromUtf8(wharf->readAllStandardError()).contains(QStringLiteral("Restore failed")));
    EXPECT_EQ(desktop.values(), userValues);
}

TEST_F(TakeoverE2eTest, CommandLineRestoreWorksWithOrWithoutABackup)
{
    const QString restored = QStringLiteral("Original system Dock preferences restored.\n");
    RunResult run = desktop.session.run(E2eSession::wharfBinary(), {QStringLiteral("--restore-system-dock")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, restored);

    // Even while a Wharf holds the dock: the user asked for it.
    QProcess* wharf = desktop.session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ASSERT_TRUE(desktop.valuesBecome(hidingValues()));
    run = desktop.session.run(E2eSession::wharfBinary(), {QStringLiteral("--restore-system-dock")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, restored);
    EXPECT_EQ(desktop.values(), userValues);
    EXPECT_FALSE(QFile::exists(desktop.backupPath));
    EXPECT_TRUE(desktop.noHelpers());
}

TEST_F(TakeoverE2eTest, SecondWharfOfTheSameUserIsTurnedAway)
{
    QProcess* first = desktop.session.startWharf();
    ASSERT_NE(first, nullptr);
    ASSERT_TRUE(desktop.valuesBecome(hidingValues()));

    // The same user logged in a second time: another desktop, the same files.
    TakeoverSession other(&desktop);
    WHARF_REQUIRE_SESSION(other.session);
    QProcess* second = other.session.startWharf();
    ASSERT_NE(second, nullptr);
    // Its takeover fails with an alert; dismissing it lets the launch finish.
    const QStringList alert{QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"), QStringLiteral("^Wharf$")};
    ASSERT_TRUE(E2eSession::waitFor([&] { return !other.session.xdotool(alert).out.isEmpty(); }));
    other.session.xdotool(alert + QStringList{QStringLiteral("windowactivate"), QStringLiteral("--sync"), QStringLiteral("key"),
                                              QStringLiteral("--clearmodifiers"), QStringLiteral("Return")});
    QString err;
    ASSERT_TRUE(E2eSession::waitFor([&] {
        err += QString::fromUtf8(second->readAllStandardError());
        return err.contains(QStringLiteral("native Dock replaced: false")) || second->state() != QProcess::Running;
    }));
    EXPECT_EQ(second->state(), QProcess::Running);
    EXPECT_EQ(desktop.values(), hidingValues());
    EXPECT_EQ(QSettings(desktop.session.configHome() + QStringLiteral("/wharf/wharf.conf"), QSettings::IniFormat)
                  .value(QStringLiteral("replaceSystemDock")),
              QVariant(false));

    ::kill(pid_t(second->processId()), SIGTERM);
    ASSERT_TRUE(second->waitForFinished(10000));
    err += QString::fromUtf8(second->readAllStandardError());
    EXPECT_TRUE(err.contains(QStringLiteral("Restore failed: The system Dock is managed by another running Wharf session.")))
        << err.toStdString();
    EXPECT_EQ(desktop.values(), hidingValues());

    ::kill(pid_t(first->processId()), SIGTERM);
    ASSERT_TRUE(first->waitForFinished(10000));
    EXPECT_EQ(desktop.values(), userValues);
}

} // namespace
} // namespace wharf::e2e
