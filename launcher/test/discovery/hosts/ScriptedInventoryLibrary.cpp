// A stand-in for libinventory.so whose answer the test sets and which records
// how it was asked. Built in variants that break the adapter's expectations:
// WITHOUT_LAST_ERROR leaves out getLastError, FAILING_ISOLATE refuses isolates.

#include <optional>
#include <set>
#include <string>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {
std::optional<std::string> answer;
std::string error;
std::string lastCall;
std::set<int*> live;
}  // namespace

// answer: what findJavaComponent returns (null for null); error: what
// getLastError returns. Isolates a test left behind on purpose are freed here.
EXPORT void scriptedInventoryReset(const char* newAnswer, const char* newError) {
    for (int* thread : live) {
        delete thread;
    }
    live.clear();
    answer = newAnswer != nullptr ? std::optional<std::string>(newAnswer) : std::nullopt;
    error = newError;
    lastCall.clear();
}
EXPORT int scriptedInventoryLiveIsolates() {
    return static_cast<int>(live.size());
}
EXPORT const char* scriptedInventoryLastCall() {
    return lastCall.c_str();
}

EXPORT int graal_create_isolate(void*, [[maybe_unused]] void** isolate,
                                [[maybe_unused]] int** thread) {
#ifdef FAILING_ISOLATE
    return 7;
#else
    *thread = *live.insert(new int).first;
    return 0;
#endif
}

EXPORT int graal_tear_down_isolate(int* thread) {
    if (live.erase(thread) == 0) {
        return 1;
    }
    delete thread;
    return 0;
}

EXPORT const char* findJavaComponent(int* thread, int minimalVersion, const char* architecture,
                                     const char* launcherPath, void* reserved) {
    lastCall = std::to_string(minimalVersion) + " " + architecture + " " + launcherPath +
               (live.count(thread) != 0 ? " on a live isolate" : " on no isolate") +
               (reserved != nullptr ? " with a reserved pointer" : "");
    return answer ? answer->c_str() : nullptr;
}

#ifndef WITHOUT_LAST_ERROR
// Read after the isolate is gone, the text would be a use-after-free in a real
// library; refusing it here makes the adapter's order visible.
EXPORT const char* getLastError(int* thread) {
    return live.count(thread) != 0 ? error.c_str() : "getLastError without a live isolate";
}
#endif
