// A stand-in for libinventory.so whose answers the test sets, and which records
// how it was called. Built in variants that break the adapter's expectations:
// WITHOUT_LAST_ERROR leaves out getLastError, FAILING_ISOLATE refuses isolates.

#include <set>
#include <string>

#define EXPORT extern "C" __attribute__((visibility("default")))

struct ScriptedThread {};

namespace {
std::string answer;
bool answerIsNull = false;
std::string error;
int liveIsolates = 0;
int createdIsolates = 0;
int queries = 0;
int lastMinimalVersion = 0;
std::string lastArchitecture;
std::string lastLauncherPath;
void* lastReserved = nullptr;
bool queriedOnLiveIsolate = false;
ScriptedThread* lastThread = nullptr;
std::set<ScriptedThread*> liveThreads;
}  // namespace

EXPORT void scriptedInventoryReset(const char* newAnswer, const char* newError) {
    // Isolates a test left behind on purpose go here, not into a leak report.
    for (ScriptedThread* thread : liveThreads) {
        delete thread;
    }
    liveThreads.clear();
    answerIsNull = newAnswer == nullptr;
    answer = newAnswer != nullptr ? newAnswer : "";
    error = newError != nullptr ? newError : "";
    liveIsolates = 0;
    createdIsolates = 0;
    lastThread = nullptr;
    queries = 0;
    lastMinimalVersion = 0;
    lastArchitecture.clear();
    lastLauncherPath.clear();
    lastReserved = nullptr;
    queriedOnLiveIsolate = false;
}

EXPORT int scriptedInventoryLiveIsolates() {
    return liveIsolates;
}
EXPORT int scriptedInventoryCreatedIsolates() {
    return createdIsolates;
}
EXPORT int scriptedInventoryQueries() {
    return queries;
}
EXPORT int scriptedInventoryLastMinimalVersion() {
    return lastMinimalVersion;
}
EXPORT const char* scriptedInventoryLastArchitecture() {
    return lastArchitecture.c_str();
}
EXPORT const char* scriptedInventoryLastLauncherPath() {
    return lastLauncherPath.c_str();
}
EXPORT void* scriptedInventoryLastReserved() {
    return lastReserved;
}
EXPORT bool scriptedInventoryQueriedOnLiveIsolate() {
    return queriedOnLiveIsolate;
}

EXPORT int graal_create_isolate(void*, void** isolate, ScriptedThread** thread) {
#ifdef FAILING_ISOLATE
    (void)isolate;
    (void)thread;
    return 7;
#else
    auto* created = new ScriptedThread;
    if (isolate != nullptr) {
        *isolate = created;
    }
    *thread = created;
    lastThread = created;
    liveThreads.insert(created);
    ++liveIsolates;
    ++createdIsolates;
    return 0;
#endif
}

EXPORT int graal_tear_down_isolate(ScriptedThread* thread) {
    if (liveThreads.erase(thread) == 0) {
        return 1;
    }
    delete thread;
    --liveIsolates;
    return 0;
}

EXPORT const char* findJavaComponent(ScriptedThread* thread, int minimalVersion,
                                     const char* architecture, const char* launcherPath,
                                     void* reserved) {
    ++queries;
    queriedOnLiveIsolate = thread != nullptr && thread == lastThread && liveThreads.count(thread);
    lastMinimalVersion = minimalVersion;
    lastArchitecture = architecture != nullptr ? architecture : "(null)";
    lastLauncherPath = launcherPath != nullptr ? launcherPath : "(null)";
    lastReserved = reserved;
    return answerIsNull ? nullptr : answer.c_str();
}

#ifndef WITHOUT_LAST_ERROR
EXPORT const char* getLastError(ScriptedThread* thread) {
    // Read after the isolate is gone, the text would be a use-after-free in a
    // real library; refusing it here makes the adapter's order visible.
    if (liveThreads.count(thread) == 0) {
        return "getLastError called without a live isolate";
    }
    return error.c_str();
}
#endif
