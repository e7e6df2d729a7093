#pragma once

#include <string>

// The service manager that started the launcher (systemd with Type=notify), told how
// the service is doing through the socket it names in NOTIFY_SOCKET.
class IServiceManagerNotifier {
  public:
    // Whether a service manager asked to be told; nothing is sent otherwise.
    virtual bool isListening() const = 0;
    // Sends one message of "NAME=value" lines. A failure is logged, once, and never
    // ends the service.
    virtual void notify(const std::wstring& message) = 0;
    virtual ~IServiceManagerNotifier() = default;
};
