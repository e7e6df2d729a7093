#include "service/LinuxStopRequestListener.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
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
void signalFromAnotherProcess(int signalNumber, int repeat = 1) {
    const pid_t parent = getpid();
    ForkedProcess child([&] {
        for (int i = 0; i < repeat; ++i) {
            sigqueue(parent, signalNumber, sigval{0});
        }
    });
    child.join();
}

// Delivered to the calling thread before the call returns, with SI_QUEUE from our
// own pid: a stop request, not one of the JVM's thread-to-thread signals.
void queueToThisThread(int signalNumber) {
    pthread_sigqueue(pthread_self(), signalNumber, sigval{0});
    // Sanitizers hold signals back until the thread next calls into the C library;
    // this makes sure the signal is handled before the next one is sent.
    std::this_thread::sleep_for(1ms);
}

pid_t threadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

void signalOwnThread(pid_t tid, int signalNumber) {
    syscall(SYS_tgkill, getpid(), tid, signalNumber);
}

template <typename Predicate>
bool eventually(Predicate predicate) {
    for (int i = 0; i < 400; ++i) {
        if (predicate()) {
            return true;
        }
        std::this_thread::sleep_for(5ms);
    }
    return predicate();
}

// The handlers a test finds in place before the listener's, standing in for the JVM's.
std::atomic<int> previousUsr2Calls{0};
std::atomic<int> previousUsr2Code{0};
std::atomic<int> previousUsr1Calls{0};
void previousUsr2Handler(int, siginfo_t* info, void*) {
    previousUsr2Calls.fetch_add(1);
    previousUsr2Code.store(info->si_code);
}
void previousUsr1Handler(int) {
    previousUsr1Calls.fetch_add(1);
}

std::atomic<int> unrelatedCalls{0};
void unrelatedHandler(int) {
    unrelatedCalls.fetch_add(1);
}

void installPrevious() {
    struct sigaction usr2 {};
    usr2.sa_sigaction = previousUsr2Handler;
    usr2.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGUSR2, &usr2, nullptr);
    struct sigaction usr1 {};
    usr1.sa_handler = previousUsr1Handler;
    sigaction(SIGUSR1, &usr1, nullptr);
    struct sigaction interrupt {};
    interrupt.sa_handler = SIG_DFL;
    sigaction(SIGINT, &interrupt, nullptr);
    // Without SA_RESTART, so that it breaks into a blocking wait.
    struct sigaction unrelated {};
    unrelated.sa_handler = unrelatedHandler;
    sigaction(SIGWINCH, &unrelated, nullptr);
    previousUsr1Calls = 0;
    previousUsr2Calls = 0;
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

    // Another simple stop is absorbed: the next wait sleeps until a fast one comes.
    signalFromAnotherProcess(SIGUSR1);
    auto next = std::async(std::launch::async, [&] { return listener->waitForEvent(); });
    EXPECT_EQ(std::future_status::timeout, next.wait_for(200ms));
    signalFromAnotherProcess(SIGUSR2);
    ASSERT_EQ(std::future_status::ready, next.wait_for(5s));
    EXPECT_EQ(2, next.get());

    EXPECT_EQ(0, listener->waitForEvent());
    signalFromAnotherProcess(SIGUSR2);
    EXPECT_EQ(0, listener->waitForEvent());
    listener.reset();

    // Every signal is logged, absorbed ones too, though not by the handler itself.
    const std::vector<LogLine> lines = log.lines();
    std::vector<std::string> messages;
    for (const LogLine& line : lines) {
        messages.push_back(line.message);
        if (line.message.find("has risen") != std::string::npos) {
            EXPECT_EQ("stopRequestListenerSignalHandlerFunc", line.function);
            EXPECT_EQ("INFO", line.level);
        }
    }
    auto count = [&](const std::string& message) {
        return std::count(messages.begin(), messages.end(), message);
    };
    EXPECT_EQ(1, count("SIGINT has risen"));
    EXPECT_EQ(1, count("SIGUSR1 has risen"));
    EXPECT_EQ(2, count("SIGUSR2 has risen"));
    EXPECT_EQ(1, count("Wait finished Event type=simple stop"));
    EXPECT_EQ(1, count("Wait finished Event type=stop fast"));
    // The waiter writes what woke it before saying so.
    const auto risen = std::find(messages.begin(), messages.end(), "SIGINT has risen");
    const auto finished =
        std::find(messages.begin(), messages.end(), "Wait finished Event type=simple stop");
    EXPECT_LT(risen, finished);
}

TEST_F(LinuxStopRequestListenerTest, BothKindsBeforeTheFirstWaitLeaveNothingToWaitFor) {
    auto listener = StopRequestListener::create(system);
    queueToThisThread(SIGUSR2);
    queueToThisThread(SIGUSR1);
    EXPECT_EQ(0, listener->waitForEvent());
}

TEST_F(LinuxStopRequestListenerTest, SignalsBetweenOurOwnThreadsGoToThePreviousHandler) {
    installPrevious();
    auto listener = StopRequestListener::create(system);

    std::atomic<pid_t> waiterTid{0};
    auto event = std::async(std::launch::async, [&] {
        waiterTid = threadId();
        return listener->waitForEvent();
    });
    ASSERT_TRUE(eventually([&] { return waiterTid.load() != 0; }));
    for (int i = 0; i < 50; ++i) {
        signalOwnThread(waiterTid, SIGUSR2);
        std::this_thread::sleep_for(1ms);
    }
    signalOwnThread(waiterTid, SIGUSR1);
    // The previous action of SIGINT is the default one, which would end the process.
    raise(SIGINT);
    ASSERT_TRUE(eventually([] { return previousUsr2Calls > 0 && previousUsr1Calls > 0; }));
    // Alone, so that nothing restarts the wait it breaks into.
    signalOwnThread(waiterTid, SIGWINCH);
    ASSERT_TRUE(eventually([] { return unrelatedCalls > 0; }));
    EXPECT_EQ(SI_TKILL, previousUsr2Code.load());
    EXPECT_EQ(std::future_status::timeout, event.wait_for(200ms))
        << "a signal between our own threads became a stop event";

    const int usr2Calls = previousUsr2Calls;
    signalFromAnotherProcess(SIGUSR2);
    ASSERT_EQ(std::future_status::ready, event.wait_for(5s));
    EXPECT_EQ(2, event.get());
    EXPECT_EQ(usr2Calls, previousUsr2Calls.load()) << "a stop request reached the JVM's handler";
}

TEST_F(LinuxStopRequestListenerTest, EarlySignalsAreHeldAndAnsweredInTheirOrder) {
    LinuxStopRequestListener::holdEarlyRequests(system);
    // Without the early handlers either signal would end the process.
    queueToThisThread(SIGUSR2);
    queueToThisThread(SIGUSR1);
    queueToThisThread(SIGUSR2);

    auto listener = StopRequestListener::create(system);
    EXPECT_EQ(2, listener->waitForEvent());
    EXPECT_EQ(1, listener->waitForEvent());
    EXPECT_EQ(0, listener->waitForEvent());
}

TEST_F(LinuxStopRequestListenerTest, NothingIsHeldOnceTheListenerIsGone) {
    {
        LinuxStopRequestListener::holdEarlyRequests(system);
        auto listener = StopRequestListener::create(system);
    }
    queueToThisThread(SIGUSR1);
    signalFromAnotherProcess(SIGUSR2);
    EXPECT_EQ(0, StopRequestListener::requestStop(false));

    auto listener = StopRequestListener::create(system);
    auto event = std::async(std::launch::async, [&] { return listener->waitForEvent(); });
    EXPECT_EQ(std::future_status::timeout, event.wait_for(200ms))
        << "a signal from before this listener woke it";
    listener->request(true);
    EXPECT_EQ(2, event.get());
}

TEST_F(LinuxStopRequestListenerTest, OnlyOneListenerAtATime) {
    auto listener = StopRequestListener::create(system);
    EXPECT_ANY_THROW(StopRequestListener::create(system));
    // The refused one took nothing with it.
    signalFromAnotherProcess(SIGUSR1);
    EXPECT_EQ(1, listener->waitForEvent());
}

// Thousands of stop signals from outside and JVM-style signals between our own
// threads at once: the process survives, the stop arrives, and no kind repeats.
TEST_F(LinuxStopRequestListenerTest, SignalStorm) {
    installPrevious();
    auto listener = StopRequestListener::create(system);
    std::atomic<pid_t> waiterTid{0};
    auto events = std::async(std::launch::async, [&] {
        waiterTid = threadId();
        std::vector<int> seen;
        for (int event = -1; event != 0 && seen.size() < 10;) {
            event = listener->waitForEvent();
            seen.push_back(event);
        }
        return seen;
    });
    ASSERT_TRUE(eventually([&] { return waiterTid.load() != 0; }));

    std::atomic<bool> stormOver{false};
    std::vector<std::thread> ownThreads;
    for (int t = 0; t < 2; ++t) {
        ownThreads.emplace_back([&] {
            for (int i = 0; i < 2000 && !stormOver; ++i) {
                signalOwnThread(waiterTid, SIGUSR2);
                signalOwnThread(threadId(), SIGUSR2);
            }
        });
    }
    const pid_t parent = getpid();
    ForkedProcess storm([&] {
        for (int i = 0; i < 2000; ++i) {
            sigqueue(parent, SIGUSR1, sigval{0});
            kill(parent, SIGUSR2);
        }
    });
    storm.join();
    stormOver = true;
    for (auto& thread : ownThreads) {
        thread.join();
    }
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer keeps one pending signal per number and thread, so a stop
    // request that meets one of our own SIGUSR2 on a thread is dropped there; the
    // kernel keeps the two apart. Under it, the stop is sent once more, in calm.
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
    ASSERT_FALSE(seen.empty());
    EXPECT_NE(0, seen.front());
    EXPECT_EQ(0, seen.back());
    EXPECT_LE(std::count(seen.begin(), seen.end(), 1), 1);
    EXPECT_LE(std::count(seen.begin(), seen.end(), 2), 1);
    EXPECT_GT(previousUsr2Calls.load(), 0);
}

// The handle may go while signals still arrive; the handler must never touch a
// deleted listener (the sanitizer builds catch it if it does).
TEST_F(LinuxStopRequestListenerTest, HandleDestroyedDuringAStorm) {
    const pid_t parent = getpid();
    for (int round = 0; round < 20; ++round) {
        auto listener = StopRequestListener::create(system);
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
