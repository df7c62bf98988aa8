// The global shortcut Ctrl+Alt+D: Wharf holds it while it runs; held by another program, Wharf
// says so and runs on without it.
#include "dock_e2e_client.h"

#include <gtest/gtest.h>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <memory>

namespace wharf::e2e {
namespace {

// Another program's grab of Ctrl+Alt+D on its own connection (without Num Lock or Caps Lock).
class KeyGrabber {
public:
    explicit KeyGrabber(const QString& display)
        : connection(xcb_connect(display.toLocal8Bit().constData(), nullptr))
    {
    }
    ~KeyGrabber() { xcb_disconnect(connection); }

    // True when the grab was granted.
    bool grab()
    {
        if (xcb_connection_has_error(connection))
            return false;
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(connection);
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, 0x0064);
        const xcb_keycode_t keycode = codes ? *codes : 0;
        std::free(codes);
        xcb_key_symbols_free(symbols);
        const auto cookie = xcb_grab_key_checked(connection, 0, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, keycode,
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_generic_error_t* error = xcb_request_check(connection, cookie);
        std::free(error);
        return keycode != 0 && !error;
    }

private:
    xcb_connection_t* connection;
};

// (What the shortcut does once held is the keyboard test's part.)
TEST(HotKey, CtrlAltDIsHeldByWharfAndReleasedOnQuit)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());
    EXPECT_FALSE(KeyGrabber(session.display()).grab()) << "nobody else gets it";
    ASSERT_TRUE(client.quit());
    ASSERT_TRUE(wharf->waitForFinished(10000));
    EXPECT_TRUE(KeyGrabber(session.display()).grab()) << "released when Wharf quits";
}

TEST(HotKey, TakenByAnotherProgramWharfSaysSoAndRunsOn)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    KeyGrabber other(session.display());
    ASSERT_TRUE(other.grab());

    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    QString err;
    const QString expected = QStringLiteral(
        "Keyboard shortcut unavailable: Control–Option–D is already assigned to another application. Change that "
        "application's shortcut, then relaunch Wharf to enable keyboard access.");
    EXPECT_TRUE(E2eSession::waitFor([&] {
        err += QString::fromUtf8(wharf->readAllStandardError());
        return err.contains(expected);
    })) << err.toStdString();

    DockClient client(session);
    EXPECT_TRUE(client.settledDock()) << "the dock runs on";
    EXPECT_EQ(wharf->state(), QProcess::Running);
}

} // namespace
} // namespace wharf::e2e
