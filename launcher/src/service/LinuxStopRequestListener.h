#pragma once

#include <semaphore.h>

#include <atomic>
#include <thread>

#include "service/ICancellableWait.h"

class ISystemUtils;

// Turns SIGUSR1 and SIGINT (simple stop), SIGUSR2 (fast stop) and, when asked to,
// SIGTERM from outside the process into events one thread can wait for. Signals that the process's
// own threads send to each other (the JVM does so with SIGUSR2) go on to the handler that was in
// place before ours, or that was set for the signal since. Stop signals that arrive
// before the first wait are held and come out one per wait in the order they came,
// so that a simple and a fast stop before it make two events instead of none.
class LinuxStopRequestListener : public ICancellableWait {
  public:
    // Installs the handlers; throws LauncherException when the semaphore or a handler
    // cannot be set up.
    explicit LinuxStopRequestListener(ISystemUtils& systemUtils);
    ~LinuxStopRequestListener() override;
    LinuxStopRequestListener(const LinuxStopRequestListener&) = delete;
    LinuxStopRequestListener& operator=(const LinuxStopRequestListener&) = delete;

    int request(bool fast) override;
    int waitForEvent() override;

    // Installs the handlers ahead of the listener, so that stop signals arriving
    // while the JVM is being created neither kill the process nor get lost: they are
    // held and handed, in the order they came, to the waits of the next listener.
    static void holdEarlyRequests(ISystemUtils& systemUtils);

    // Makes a SIGTERM from another process a stop request (fast or simple), held like
    // the others until the listener answers; one the process raises itself still goes
    // to the JVM's handler. Without this call SIGTERM is left to the JVM.
    static void takeSigterm(ISystemUtils& systemUtils, bool fast);

    // Called from the signal handler only: whether a stop signal becomes a request at
    // once, which it does from the first wait on.
    bool answersSignals() const;

    // Called from the signal handler only: wakes the thread that writes the log lines
    // of the signals, since the handler itself may not take the log's lock.
    void wakeSignalReporter();

  private:
    void runSignalReporter();

    sem_t semaphore_;
    std::atomic<bool> fastRequested_{false};
    std::atomic<bool> simpleRequested_{false};
    std::atomic<bool> answeringSignals_{false};
    sem_t reporterSemaphore_;
    std::atomic<bool> reporterStopping_{false};
    std::thread reporter_;
};

// The process's current listener, reached by the signal handler and by the handle.
namespace currentStopListener {
// Publishes the listener; false when another one is already current.
bool publish(LinuxStopRequestListener* listener);
// Unpublishes the current listener once no signal handler is using it any more, ends
// the holding of early requests, and returns the listener (null when none) to delete.
LinuxStopRequestListener* withdraw();
// request on the current listener, 0 when there is none; safe from any thread.
int request(bool fast);
// waitForEvent on the current listener, 0 when there is none.
int waitForEvent();
}  // namespace currentStopListener
