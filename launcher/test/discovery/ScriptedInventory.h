#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "discovery/IInventoryErrorConsumer.h"

// The controls of a scripted inventory library, reached through a handle of
// the test's own; it also keeps the library loaded between tests, so each
// test starts with reset().
class ScriptedInventory {
  public:
    explicit ScriptedInventory(const char* path) : handle_(dlopen(path, RTLD_NOW)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    // Frees the isolates a test left behind on purpose.
    ~ScriptedInventory() {
        reset(nullptr, "");
        dlclose(handle_);
    }
    ScriptedInventory(const ScriptedInventory&) = delete;
    ScriptedInventory& operator=(const ScriptedInventory&) = delete;

    // answer: what findJavaComponent returns (null for null); error: what
    // getLastError returns.
    void reset(const char* answer, const char* error) {
        call<void (*)(const char*, const char*)>("scriptedInventoryReset")(answer, error);
    }
    int liveIsolates() { return call<int (*)()>("scriptedInventoryLiveIsolates")(); }
    int createdIsolates() { return call<int (*)()>("scriptedInventoryCreatedIsolates")(); }
    int queries() { return call<int (*)()>("scriptedInventoryQueries")(); }
    int lastMinimalVersion() { return call<int (*)()>("scriptedInventoryLastMinimalVersion")(); }
    std::string lastArchitecture() {
        return call<const char* (*)()>("scriptedInventoryLastArchitecture")();
    }
    std::string lastLauncherPath() {
        return call<const char* (*)()>("scriptedInventoryLastLauncherPath")();
    }
    void* lastReserved() { return call<void* (*)()>("scriptedInventoryLastReserved")(); }
    bool queriedOnLiveIsolate() {
        return call<bool (*)()>("scriptedInventoryQueriedOnLiveIsolate")();
    }

  private:
    template <typename F>
    F call(const char* name) {
        void* symbol = dlsym(handle_, name);
        if (symbol == nullptr) {
            throw std::runtime_error(std::string("no ") + name);
        }
        return reinterpret_cast<F>(symbol);
    }

    void* handle_;
};

// Keeps every error text it is handed.
class RecordingErrorConsumer : public IInventoryErrorConsumer {
  public:
    void onError(const char* text) override { errors.push_back(text ? text : "(null)"); }

    std::vector<std::string> errors;
};
