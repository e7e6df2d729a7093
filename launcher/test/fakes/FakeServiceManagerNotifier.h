#pragma once

#include <string>
#include <vector>

#include "platform/IServiceManagerNotifier.h"

// A service manager that listens when a test says so and keeps every message.
class FakeServiceManagerNotifier : public IServiceManagerNotifier {
  public:
    bool isListening() const override { return listening; }
    void notify(const std::wstring& message) override {
        if (listening) {
            messages.push_back(message);
        }
    }

    bool listening = false;
    std::vector<std::wstring> messages;
};
