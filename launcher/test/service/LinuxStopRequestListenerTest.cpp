#include "service/LinuxStopRequestListener.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "service/StopRequestListener.h"
#include "support/CapturedLog.h"
#include "support/ProcessRunner.h"

namespace {

using namespace std::chrono_literals;

// A stop request the way another process sends one.
void signalFromAnotherProcess(int signalNumber) {
    const pid_t parent = getpid();
    ProcessRunner([=] { return std::to_string(sigqueue(parent, signalNumber, sigval{0})); }).run();
}

// SI_QUEUE from our own pid, so a stop request, handled before the call returns (the
// sleep lets sanitizers, which hold signals back, deliver it too).
void queueToThisThread(int signalNumber) {
    pthread_sigqueue(pthread_self(), signalNumber, sigval{0});
    std::this_thread::sleep_for(1ms);
}

// The way HotSpot signals its own threads.
void signalOwnThread(pid_t tid, int signalNumber) {
    syscall(SYS_tgkill, getpid(), tid, signalNumber);
}

pid_t ownTid() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// A waitForEvent on another thread; its thread id is known once it runs.
struct Waiter {
    explicit Waiter(ICancellableWait& listener)
        : event(std::async(std::launch::async, [&] {
              tid = ownTid();
              return listener.waitForEvent();
          })) {
        while (tid == 0) {
            std::this_thread::sleep_for(1ms);
        }
    }
    bool stillWaiting() { return event.wait_for(200ms) == std::future_status::timeout; }
    std::atomic<pid_t> tid{0};
    std::future<int> event;
};

// The handlers found in place before the listener's, standing in for the JVM's.
std::atomic<int> previousUsr2Calls{0};
std::atomic<int> previousUsr2Code{0};
std::atomic<int> otherCalls{0};
void previousUsr2Handler(int, siginfo_t* info, void*) {
    previousUsr2Calls.fetch_add(1);
    previousUsr2Code.store(info->si_code);
}
void installPrevious() {
    struct sigaction usr2 {};
    usr2.sa_sigaction = previousUsr2Handler;
    usr2.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGUSR2, &usr2, nullptr);
    struct sigaction plain {};  // no SA_RESTART: it breaks into a blocking wait
    plain.sa_handler = [](int) { otherCalls.fetch_add(1); };
    sigaction(SIGUSR1, &plain, nullptr);
    sigaction(SIGWINCH, &plain, nullptr);
    signal(SIGINT, SIG_DFL);
}

class LinuxStopRequestListenerTest : public ::testing::Test {
  protected:
    FakeSystemUtils system;
};

TEST_F(LinuxStopRequestListenerTest, EachKindFromAnotherProcessWakesTheWaiterOnce) {
    CapturedLog log;
    auto listener = StopRequestListener::create(system);
    signalFromAnotherProcess(SIGINT);
    EXPECT_EQ(1, listener->waitForEvent());
    signalFromAnotherProcess(SIGUSR1);  // absorbed
    Waiter waiter(*listener);
    EXPECT_TRUE(waiter.stillWaiting());
    signalFromAnotherProcess(SIGUSR2);
    EXPECT_EQ(2, waiter.event.get());
    EXPECT_EQ(0, listener->waitForEvent());
    listener.reset();

    // Every signal is logged, absorbed ones too, and ahead of what the waiter says.
    std::vector<std::string> messages;
    for (const LogLine& line : log.lines()) {
        messages.push_back(line.function + " " + line.message);
    }
    const std::string handler = "stopRequestListenerSignalHandlerFunc ";
    EXPECT_EQ((std::vector<std::string>{
                  handler + "SIGINT has risen", "waitForEvent Wait finished Event type=simple stop",
                  handler + "SIGUSR1 has risen", handler + "SIGUSR2 has risen",
                  "waitForEvent Wait finished Event type=stop fast"}),
              messages);
}

// From the early hold, or the listener's creation, to the first wait the service routine
// is still starting the Java side: a stop signal there must keep its kind, and a simple
// and a fast one must not cancel each other out.
TEST_F(LinuxStopRequestListenerTest, SignalsBeforeTheFirstWaitAreHeldInTheirOrder) {
    for (const bool early : {true, false}) {
        SCOPED_TRACE(early ? "held early" : "held by the listener");
        std::shared_ptr<StopRequestListener> listener;
        if (early) {
            LinuxStopRequestListener::holdEarlyRequests(system);
        } else {
            listener = StopRequestListener::create(system);
        }
        // Without a handler in place either signal would end the process.
        queueToThisThread(SIGUSR2);
        queueToThisThread(SIGUSR1);
        queueToThisThread(SIGUSR2);
        if (early) {
            listener = StopRequestListener::create(system);
        }
        EXPECT_EQ(2, listener->waitForEvent());
        EXPECT_EQ(1, listener->waitForEvent());
        EXPECT_EQ(0, listener->waitForEvent());
    }
    // Once a listener is gone nothing is held for the next one.
    queueToThisThread(SIGUSR1);
    EXPECT_EQ(0, StopRequestListener::requestStop(false));
    auto listener = StopRequestListener::create(system);
    Waiter waiter(*listener);
    EXPECT_TRUE(waiter.stillWaiting()) << "a signal from before this listener woke it";
    listener->request(true);
    EXPECT_EQ(2, waiter.event.get());

    // Requests made in the process are not held: both kinds before the first wait
    // leave nothing to wait for.
    listener.reset();
    listener = StopRequestListener::create(system);
    listener->request(true);
    listener->request(false);
    EXPECT_EQ(0, listener->waitForEvent());
}

TEST_F(LinuxStopRequestListenerTest, SignalsBetweenOurOwnThreadsGoToThePreviousHandler) {
    installPrevious();
    auto listener = StopRequestListener::create(system);
    Waiter waiter(*listener);
    for (int i = 0; i < 50; ++i) {
        signalOwnThread(waiter.tid, SIGUSR2);
    }
    signalOwnThread(waiter.tid, SIGUSR1);
    raise(SIGINT);  // the previous action is the default one, which would end the process
    ASSERT_TRUE(eventually([] { return previousUsr2Calls > 0 && otherCalls > 0; }, 2s));
    EXPECT_EQ(SI_TKILL, previousUsr2Code.load());
    // Alone, so that no restarting handler runs with it: a wait it breaks is no event.
    signalOwnThread(waiter.tid, SIGWINCH);
    ASSERT_TRUE(eventually([] { return otherCalls > 1; }, 2s));
    EXPECT_TRUE(waiter.stillWaiting()) << "a signal between our own threads became a stop";

    const int usr2Calls = previousUsr2Calls;
    signalFromAnotherProcess(SIGUSR2);
    EXPECT_EQ(2, waiter.event.get());
    EXPECT_EQ(usr2Calls, previousUsr2Calls.load()) << "a stop request reached the JVM's handler";
}

// The JVM sets its own actions for SIGUSR2 and SIGINT while it is being created, when
// ours are already in place and no listener exists yet. It must be told what it would
// have found without us and afterwards see its own action, yet only the process's own
// signals may reach it: stop requests are still held.
TEST_F(LinuxStopRequestListenerTest, ActionsSetAfterOursTakeOnlyTheProcesssOwnSignals) {
    LinuxStopRequestListener::holdEarlyRequests(system);
    const int usr2Calls = previousUsr2Calls;
    struct sigaction found {};
    sigaction(SIGUSR2, nullptr, &found);
    struct sigaction jvm {};
    jvm.sa_sigaction = previousUsr2Handler;
    jvm.sa_flags = SA_SIGINFO | SA_RESTART;
    struct sigaction replaced {};
    ASSERT_EQ(0, sigaction(SIGUSR2, &jvm, &replaced));
    EXPECT_EQ(found.sa_handler, replaced.sa_handler);
    struct sigaction seen {};
    sigaction(SIGUSR2, nullptr, &seen);
    EXPECT_EQ(&previousUsr2Handler, seen.sa_sigaction);
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    sigaction(SIGINT, &defaultAction, nullptr);

    signalFromAnotherProcess(SIGUSR2);
    signalFromAnotherProcess(SIGINT);  // the default action would end the process
    EXPECT_EQ(usr2Calls, previousUsr2Calls.load()) << "a stop request reached the JVM's handler";
    auto listener = StopRequestListener::create(system);
    EXPECT_EQ(2, listener->waitForEvent());
    EXPECT_EQ(1, listener->waitForEvent());
    signalOwnThread(ownTid(), SIGUSR2);
    EXPECT_TRUE(eventually([&] { return previousUsr2Calls > usr2Calls; }, 2s));
}

}  // namespace
