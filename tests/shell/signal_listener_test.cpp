#include "shell/signal_listener.h"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

namespace wharf {
namespace {

TEST(SignalListenerTest, SignalsArriveOnTheEventLoopInsteadOfKillingTheProcess)
{
    std::vector<int> received;
    SignalListener listener({SIGTERM, SIGINT}, [&](int signal) {
        received.push_back(signal);
        if (received.size() == 2)
            QCoreApplication::quit();
    });
    ASSERT_TRUE(listener.isListening());

    std::raise(SIGTERM);
    std::raise(SIGINT);
    // Nothing runs inside the signal handler itself.
    EXPECT_TRUE(received.empty());

    QTimer timeout;
    QObject::connect(&timeout, &QTimer::timeout, &QCoreApplication::quit); // a hang fails below
    timeout.start(5000);
    QCoreApplication::exec();
    EXPECT_EQ(received, (std::vector<int>{SIGTERM, SIGINT}));
}

} // namespace
} // namespace wharf
