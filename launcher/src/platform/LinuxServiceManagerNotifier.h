#pragma once

#include <atomic>
#include <string>

#include "platform/IServiceManagerNotifier.h"

// The notification socket of systemd's Type=notify, without libsystemd: one datagram
// on an AF_UNIX socket per message, to a path or, for "@name", an abstract name.
class LinuxServiceManagerNotifier : public IServiceManagerNotifier {
  public:
    // Takes NOTIFY_SOCKET out of the environment, so that neither the JVM nor the
    // processes it starts take the launcher's messages for theirs to send.
    LinuxServiceManagerNotifier();

    bool isListening() const override;
    void notify(const std::wstring& message) override;

  private:
    // The variable as given, for the log; empty when unset.
    std::string socketName_;
    // The address bytes after sun_family: a path, or a NUL and an abstract name.
    std::string address_;
    // Why the variable names no usable address; empty when it does.
    std::wstring unusable_;
    std::atomic<bool> failureLogged_{false};
};
