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
#include "support/ForkedProcess.h"

namespace {

using namespace std::chrono_literals;

// A stop request the way another process sends one.
void signalFromAnotherProcess(int signalNumber) {
    const pid_t parent = getpid();
    ForkedProcess([&] { sigqueue(parent, signalNumber, sigval{0}); }).join();
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

// A waitForEvent on another thread; its thread id is known once it runs.
struct Waiter {
    explicit Waiter(ICancellableWait& listener)
        : event(std::async(std::launch::async, [&] {
              tid = static_cast<pid_t>(syscall(SYS_gettid));
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
void countingHandler(int) {
    otherCalls.fetch_add(1);
}
void installPrevious() {
    struct sigaction usr2 {};
    usr2.sa_sigaction = previousUsr2Handler;
    usr2.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGUSR2, &usr2, nullptr);
    struct sigaction plain {};  // no SA_RESTART: it breaks into a blocking wait
    plain.sa_handler = countingHandler;
    sigaction(SIGUSR1, &plain, nullptr);
    sigaction(SIGWINCH, &plain, nullptr);
    signal(SIGINT, SIG_DFL);
}

template <typename Predicate>
bool eventually(Predicate predicate) {
    for (int i = 0; i < 400 && !predicate(); ++i) {
        std::this_thread::sleep_for(5ms);
    }
    return predicate();
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
        messages.push_back(line.message);
        if (line.message.find("has risen") != std::string::npos) {
            EXPECT_EQ("stopRequestListenerSignalHandlerFunc", line.function);
        }
    }
    EXPECT_EQ((std::vector<std::string>{"SIGINT has risen", "Wait finished Event type=simple stop",
                                        "SIGUSR1 has risen", "SIGUSR2 has risen",
                                        "Wait finished Event type=stop fast"}),
              messages);
}

// Between the listener's creation and the first wait the service routine is still
// starting the Java side; a stop signal there must keep its kind, and a simple and a
// fast one must not cancel each other out.
TEST_F(LinuxStopRequestListenerTest, SignalsBeforeTheFirstWaitKeepTheirKindAndOrder) {
    auto listener = StopRequestListener::create(system);
    queueToThisThread(SIGUSR2);
    EXPECT_EQ(2, listener->waitForEvent());
    listener.reset();

    listener = StopRequestListener::create(system);
    queueToThisThread(SIGUSR2);
    queueToThisThread(SIGUSR1);
    EXPECT_EQ(2, listener->waitForEvent());
    EXPECT_EQ(1, listener->waitForEvent());
    EXPECT_EQ(0, listener->waitForEvent());
    listener.reset();

    // Requests made in the process are not held: both kinds before the first wait
    // leave nothing to wait for.
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
    ASSERT_TRUE(eventually([] { return previousUsr2Calls > 0 && otherCalls > 0; }));
    EXPECT_EQ(SI_TKILL, previousUsr2Code.load());
    // Alone, so that no restarting handler runs with it: a wait it breaks is no event.
    signalOwnThread(waiter.tid, SIGWINCH);
    ASSERT_TRUE(eventually([] { return otherCalls > 1; }));
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
    signalOwnThread(static_cast<pid_t>(syscall(SYS_gettid)), SIGUSR2);
    EXPECT_TRUE(eventually([&] { return previousUsr2Calls > usr2Calls; }));
}

TEST_F(LinuxStopRequestListenerTest, EarlySignalsAreHeldForTheListenerAndNoLonger) {
    LinuxStopRequestListener::holdEarlyRequests(system);
    // Without the early handlers either signal would end the process.
    queueToThisThread(SIGUSR2);
    queueToThisThread(SIGUSR1);
    queueToThisThread(SIGUSR2);
    auto listener = StopRequestListener::create(system);
    EXPECT_EQ(2, listener->waitForEvent());
    EXPECT_EQ(1, listener->waitForEvent());
    EXPECT_EQ(0, listener->waitForEvent());

    listener.reset();
    queueToThisThread(SIGUSR1);
    EXPECT_EQ(0, StopRequestListener::requestStop(false));
    listener = StopRequestListener::create(system);
    Waiter waiter(*listener);
    EXPECT_TRUE(waiter.stillWaiting()) << "a signal from before this listener woke it";
    listener->request(true);
    EXPECT_EQ(2, waiter.event.get());
}

// Thousands of stop signals from outside and JVM-style signals between our own
// threads at once: the process survives, the stop arrives, no kind repeats; and a
// handle may go while signals still arrive (the sanitizer builds see any use after
// free).
TEST_F(LinuxStopRequestListenerTest, SignalStorm) {
    installPrevious();
    auto listener = StopRequestListener::create(system);
    std::atomic<pid_t> waiterTid{0};
    auto events = std::async(std::launch::async, [&] {
        waiterTid = static_cast<pid_t>(syscall(SYS_gettid));
        std::vector<int> seen;
        do {
            seen.push_back(listener->waitForEvent());
        } while (seen.back() != 0 && seen.size() < 10);
        return seen;
    });
    ASSERT_TRUE(eventually([&] { return waiterTid != 0; }));
    std::atomic<bool> stormOver{false};
    std::vector<std::thread> ownThreads;
    for (int t = 0; t < 2; ++t) {
        ownThreads.emplace_back([&] {
            for (int i = 0; i < 2000 && !stormOver; ++i) {
                signalOwnThread(waiterTid, SIGUSR2);
                signalOwnThread(static_cast<pid_t>(syscall(SYS_gettid)), SIGUSR2);
            }
        });
    }
    const pid_t parent = getpid();
    ForkedProcess([&] {
        for (int i = 0; i < 2000; ++i) {
            sigqueue(parent, SIGUSR1, sigval{0});
            kill(parent, SIGUSR2);
        }
    }).join();
    stormOver = true;
    for (auto& thread : ownThreads) {
        thread.join();
    }
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer keeps one pending signal per number and thread, so a stop that
    // meets one of our own SIGUSR2 on a thread is dropped; the kernel keeps them apart.
    signalFromAnotherProcess(SIGUSR1);
    signalFromAnotherProcess(SIGUSR2);
#endif
    const bool stopArrived = events.wait_for(10s) == std::future_status::ready;
    if (!stopArrived) {
        listener->request(false);
        listener->request(true);
    }
    ASSERT_TRUE(stopArrived) << "the stop got lost";
    const std::vector<int> seen = events.get();
    EXPECT_NE(0, seen.front());
    EXPECT_EQ(0, seen.back());
    EXPECT_LE(std::count(seen.begin(), seen.end(), 1), 1);
    EXPECT_LE(std::count(seen.begin(), seen.end(), 2), 1);
    EXPECT_GT(previousUsr2Calls.load(), 0);

    listener.reset();
    for (int round = 0; round < 20; ++round) {
        listener = StopRequestListener::create(system);
        ForkedProcess storm([&] {
            for (int i = 0; i < 300; ++i) {
                sigqueue(parent, (i % 2) ? SIGUSR1 : SIGUSR2, sigval{0});
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds(200 * round));
        listener.reset();
        storm.join();
    }
}

}  // namespace
