#include "service/LinuxStopRequestListener.h"

#include <dlfcn.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <system_error>

#include "platform/ISystemUtils.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

// Everything the signal handler touches is process-wide and lock-free: atomics,
// sem_post and calls into the handler that was installed before ours. Log lines of
// the signals are written later by a reporter thread or by the waiter, because the
// logger takes a mutex and allocates, and a signal may land on a thread that holds
// that mutex or is inside malloc.
namespace {

constexpr int kStopSignals[] = {SIGUSR1, SIGUSR2, SIGINT, SIGTERM};
constexpr int kStopSignalCount = 4;

// What a SIGTERM from another process asks for once it is taken: 0 while it is left to
// the JVM (no handler of ours), 1 a simple stop, 2 a fast one.
std::atomic<int> sigtermRequest{0};

bool isTaken(int signalNumber) {
    return signalNumber != SIGTERM || sigtermRequest.load() != 0;
}

int stopSignalIndex(int signalNumber) {
    for (int i = 0; i < kStopSignalCount; ++i) {
        if (kStopSignals[i] == signalNumber) {
            return i;
        }
    }
    return -1;
}

std::atomic<LinuxStopRequestListener*> currentListener{nullptr};
// Handlers between reading currentListener and their last use of it; withdraw waits
// for them to leave before the listener may be deleted.
std::atomic<int> handlersInFlight{0};

// Signals seen but not yet written to the log, per stop signal.
std::atomic<unsigned> risenCount[kStopSignalCount];

// Early requests: held while no listener exists or it has not waited yet, released one
// per wait afterwards.
// A held kind stores its arrival number (0 = none) so that releases keep the order.
std::atomic<bool> holdingEarlyRequests{false};
std::atomic<unsigned long> arrivalCounter{0};
std::atomic<unsigned long> heldRequest[2];  // [0] simple, [1] fast

// The action that signals the process sends itself are forwarded to: the one found
// in place before ours, or the one set for the signal since ours is in place. Each
// change writes a fresh slot and then publishes its index, so the handler never
// reads a half-written action. No slot (-1) is the default action.
constexpr int kPreviousSlots = 32;
struct sigaction previousSlots[kPreviousSlots];
std::atomic<int> previousSlotCounter{0};
std::atomic<int> previousSlotOf[kStopSignalCount] = {-1, -1, -1, -1};
std::mutex installMutex;
// Lets the waiter finish the lines the reporter is writing before it logs its own.
std::mutex reportMutex;

int takePreviousSlot(const struct sigaction& action) {
    const int slot = previousSlotCounter.fetch_add(1) % kPreviousSlots;
    previousSlots[slot] = action;
    return slot;
}

void rememberPreviousAction(int index, const struct sigaction& action) {
    previousSlotOf[index].store(takePreviousSlot(action), std::memory_order_release);
}

void copyPreviousAction(int slot, struct sigaction* into) {
    if (slot >= 0) {
        *into = previousSlots[slot];
    } else {
        *into = {};
        into->sa_handler = SIG_DFL;
    }
}

void forwardToPreviousHandler(int index, int signalNumber, siginfo_t* info, void* context) {
    const int slot = previousSlotOf[index].load(std::memory_order_acquire);
    if (slot < 0) {
        return;
    }
    const struct sigaction& previous = previousSlots[slot];
    if ((previous.sa_flags & SA_SIGINFO) == 0 &&
        (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN)) {
        // The default action of a stop signal ends the process; one that the launcher
        // sends itself must not do that, so it is dropped like an ignored one.
        return;
    }
    sigset_t savedMask;
    pthread_sigmask(SIG_BLOCK, &previous.sa_mask, &savedMask);
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signalNumber, info, context);
    } else {
        previous.sa_handler(signalNumber);
    }
    pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
}

void holdRequest(bool fast) {
    unsigned long none = 0;
    const unsigned long arrival = arrivalCounter.fetch_add(1) + 1;
    heldRequest[fast ? 1 : 0].compare_exchange_strong(none, arrival);
}

void acceptStopSignal(int index, int signalNumber) {
    const bool fast =
        signalNumber == SIGUSR2 || (signalNumber == SIGTERM && sigtermRequest.load() == 2);
    handlersInFlight.fetch_add(1);
    LinuxStopRequestListener* listener = currentListener.load();
    if (listener != nullptr && listener->answersSignals()) {
        risenCount[index].fetch_add(1);
        listener->request(fast);
        listener->wakeSignalReporter();
    } else if (listener != nullptr || holdingEarlyRequests.load()) {
        risenCount[index].fetch_add(1);
        holdRequest(fast);
        if (listener != nullptr) {
            listener->wakeSignalReporter();
        }
    }
    handlersInFlight.fetch_sub(1, std::memory_order_release);
}

void stopSignalHandler(int signalNumber, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    const int index = stopSignalIndex(signalNumber);
    if (index >= 0) {
        // A thread of this process signalling one of its own threads is the JVM at
        // work (HotSpot suspends its threads with SIGUSR2), never a stop request.
        if (info != nullptr && info->si_code == SI_TKILL && info->si_pid == getpid()) {
            forwardToPreviousHandler(index, signalNumber, info, context);
        } else {
            acceptStopSignal(index, signalNumber);
        }
    }
    errno = savedErrno;
}

bool isOurHandler(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == stopSignalHandler;
}

using SigactionFunction = int (*)(int, const struct sigaction*, struct sigaction*);
std::atomic<SigactionFunction> realSigactionFunction{nullptr};

// The C library's sigaction, which the one defined at the end of this file stands in
// front of.
int realSigaction(int signalNumber, const struct sigaction* action, struct sigaction* oldAction) {
    SigactionFunction real = realSigactionFunction.load(std::memory_order_acquire);
    if (real == nullptr) {
        real = reinterpret_cast<SigactionFunction>(dlsym(RTLD_NEXT, "sigaction"));
        if (real == nullptr) {
            errno = ENOSYS;
            return -1;
        }
        realSigactionFunction.store(real, std::memory_order_release);
    }
    return real(signalNumber, action, oldAction);
}

[[noreturn]] void throwCannotWait(ISystemUtils& systemUtils) {
    throw LauncherException(
        LauncherException::kOs,
        formatMessage("IDS_CANNOT_START_WAITING_FOR_STOP_SIGNAL", systemUtils.getLastErrorText()));
}

// Installs our handler for the stop signals. A handler found in place that is not
// ours (HotSpot's, once the JVM exists) becomes the one that signals from our own
// threads are forwarded to; it is remembered before ours goes in, so no signal in
// between finds a stale one.
void installStopSignalHandlers(ISystemUtils& systemUtils) {
    std::lock_guard<std::mutex> lock(installMutex);
    for (int i = 0; i < kStopSignalCount; ++i) {
        if (!isTaken(kStopSignals[i])) {
            continue;
        }
        struct sigaction current {};
        if (realSigaction(kStopSignals[i], nullptr, &current) != 0) {
            throwCannotWait(systemUtils);
        }
        if (!isOurHandler(current)) {
            rememberPreviousAction(i, current);
        }
        struct sigaction action {};
        action.sa_sigaction = stopSignalHandler;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigemptyset(&action.sa_mask);
        if (realSigaction(kStopSignals[i], &action, nullptr) != 0) {
            throwCannotWait(systemUtils);
        }
    }
}

void logRisenSignals() {
    static const wchar_t* const kRisenTexts[kStopSignalCount] = {
        L"SIGUSR1 has risen", L"SIGUSR2 has risen", L"SIGINT has risen", L"SIGTERM has risen"};
    std::lock_guard<std::mutex> lock(reportMutex);
    for (int i = 0; i < kStopSignalCount; ++i) {
        for (unsigned n = risenCount[i].exchange(0); n > 0; --n) {
            logMessage(LogLevel::info(), L"LinuxStopRequestListener", __FILE__, __LINE__,
                       "stopRequestListenerSignalHandlerFunc", kRisenTexts[i]);
        }
    }
}

// Hands the earliest held request to the listener; one per wait, so that a simple
// and a fast request held together come out as two events instead of none.
void releaseOneHeldRequest(LinuxStopRequestListener& listener) {
    const unsigned long simple = heldRequest[0].load();
    const unsigned long fast = heldRequest[1].load();
    if (simple == 0 && fast == 0) {
        return;
    }
    const int kind = (fast != 0 && (simple == 0 || fast < simple)) ? 1 : 0;
    if (heldRequest[kind].exchange(0) != 0) {
        listener.request(kind == 1);
    }
}

void waitForHandlersToLeave() {
    while (handlersInFlight.load(std::memory_order_acquire) != 0) {
        sched_yield();
    }
}

void waitOnSemaphore(sem_t* semaphore) {
    // A signal handled on this thread (one the JVM sends itself, say) may end the wait
    // early; that is not an event.
    while (sem_wait(semaphore) != 0 && errno == EINTR) {
    }
}

}  // namespace

LinuxStopRequestListener::LinuxStopRequestListener(ISystemUtils& systemUtils) {
    if (sem_init(&semaphore_, 0, 0) != 0 || sem_init(&reporterSemaphore_, 0, 0) != 0) {
        throwCannotWait(systemUtils);
    }
    installStopSignalHandlers(systemUtils);
    try {
        reporter_ = std::thread(&LinuxStopRequestListener::runSignalReporter, this);
    } catch (const std::system_error& e) {
        throw LauncherException(
            LauncherException::kOs,
            formatMessage("IDS_CANNOT_START_WAITING_FOR_STOP_SIGNAL", toWide(e.what())));
    }
}

LinuxStopRequestListener::~LinuxStopRequestListener() {
    reporterStopping_.store(true);
    sem_post(&reporterSemaphore_);
    reporter_.join();
    logRisenSignals();
    sem_destroy(&reporterSemaphore_);
    sem_destroy(&semaphore_);
}

int LinuxStopRequestListener::request(bool fast) {
    std::atomic<bool>& flag = fast ? fastRequested_ : simpleRequested_;
    if (flag.exchange(true)) {
        return 0;
    }
    return sem_post(&semaphore_);
}

int LinuxStopRequestListener::waitForEvent() {
    const bool fastBefore = fastRequested_.load(std::memory_order_acquire);
    const bool simpleBefore = simpleRequested_.load(std::memory_order_acquire);
    if (fastBefore && simpleBefore) {
        return 0;
    }
    if (!answeringSignals_.exchange(true)) {
        // A handler that found the listener not answering yet may be about to hold its
        // request; it must be held before the release below looks.
        waitForHandlersToLeave();
    }
    releaseOneHeldRequest(*this);
    waitOnSemaphore(&semaphore_);
    const bool fast = fastRequested_.load(std::memory_order_acquire) != fastBefore;
    logRisenSignals();
    LOG_INFO(L"LinuxStopRequestListener", L"Wait finished", L"Event type",
             fast ? L"stop fast" : L"simple stop");
    return fast ? 2 : 1;
}

void LinuxStopRequestListener::holdEarlyRequests(ISystemUtils& systemUtils) {
    // Before the handlers: a signal that finds them in place must find them holding.
    holdingEarlyRequests.store(true);
    installStopSignalHandlers(systemUtils);
}

void LinuxStopRequestListener::takeSigterm(ISystemUtils& systemUtils, bool fast) {
    sigtermRequest.store(fast ? 2 : 1);
    installStopSignalHandlers(systemUtils);
}

bool LinuxStopRequestListener::answersSignals() const {
    return answeringSignals_.load();
}

void LinuxStopRequestListener::wakeSignalReporter() {
    sem_post(&reporterSemaphore_);
}

void LinuxStopRequestListener::runSignalReporter() {
    for (;;) {
        waitOnSemaphore(&reporterSemaphore_);
        if (reporterStopping_.load()) {
            return;
        }
        logRisenSignals();
    }
}

namespace currentStopListener {

bool publish(LinuxStopRequestListener* listener) {
    LinuxStopRequestListener* none = nullptr;
    return currentListener.compare_exchange_strong(none, listener, std::memory_order_release,
                                                   std::memory_order_relaxed);
}

LinuxStopRequestListener* withdraw() {
    LinuxStopRequestListener* listener = currentListener.exchange(nullptr);
    waitForHandlersToLeave();
    holdingEarlyRequests.store(false);
    heldRequest[0].store(0);
    heldRequest[1].store(0);
    return listener;
}

int request(bool fast) {
    handlersInFlight.fetch_add(1);
    LinuxStopRequestListener* listener = currentListener.load();
    const int result = listener != nullptr ? listener->request(fast) : 0;
    handlersInFlight.fetch_sub(1, std::memory_order_release);
    return result;
}

int waitForEvent() {
    LinuxStopRequestListener* listener = currentListener.load(std::memory_order_acquire);
    return listener != nullptr ? listener->waitForEvent() : 0;
}

}  // namespace currentStopListener

// Once our handler is in place for a stop signal it stays there: whoever in the process
// sets an action for that signal later (HotSpot does so for SIGUSR2 and SIGINT while the
// JVM is being created) sets the action that the signals the process sends itself are
// forwarded to, and is told the action it would have found without us. Otherwise a stop
// request arriving after such a call would go to the JVM, where a SIGINT ends the
// process without the stop method and a SIGUSR2 is dropped, or crashes the JVM on a
// thread it does not know. The executable exports this definition, so the libraries it
// loads (the JVM's among them) call it instead of the C library's; signal() is left
// alone, since the JVM sets its actions with sigaction only.
int sigaction(int signalNumber, const struct sigaction* action,
              struct sigaction* oldAction) noexcept {
    const int index = stopSignalIndex(signalNumber);
    struct sigaction current {};
    if (index < 0 || realSigaction(signalNumber, nullptr, &current) != 0 ||
        !isOurHandler(current)) {
        return realSigaction(signalNumber, action, oldAction);
    }
    int replaced;
    if (action != nullptr) {
        replaced =
            previousSlotOf[index].exchange(takePreviousSlot(*action), std::memory_order_acq_rel);
    } else {
        replaced = previousSlotOf[index].load(std::memory_order_acquire);
    }
    if (oldAction != nullptr) {
        copyPreviousAction(replaced, oldAction);
    }
    return 0;
}
