// The C entry points of libinventory.so and the isolates they run on.

#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "JavaHomeSearch.h"
#include "inventory.h"

#define INVENTORY_EXPORT extern "C" __attribute__((visibility("default")))

struct inventory_isolate_thread {
    // What the last query handed out; kept here so the caller may read it
    // until its next query or the tear-down.
    std::string answer;
    std::string lastError;
};

struct inventory_isolate {
    inventory_isolate_thread thread;
};

namespace {

enum IsolateResult { kOk = 0, kNoThreadOutput = 1, kOutOfMemory = 2, kUnknownThread = 3 };

const char* const kDefaultRoots[] = {"/usr/lib/jvm", "/usr/java", "/opt/java", "/usr/local/java"};

// Isolates are looked up before use, so a stale or foreign pointer gets an
// error code instead of undefined behaviour.
std::mutex registryMutex;
std::unordered_map<inventory_isolate_thread*, std::unique_ptr<inventory_isolate>> registry;

bool isLive(inventory_isolate_thread* thread) {
    std::lock_guard<std::mutex> lock(registryMutex);
    return thread != nullptr && registry.count(thread) != 0;
}

std::string directoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// A runtime shipped with the launcher: a jre or jdk directory beside its
// executable or one level up (bin/launcher next to jre/).
void addBundledHomes(JavaHomeSearch& search, const char* launcherPath) {
    if (launcherPath == nullptr) {
        return;
    }
    const std::string path(launcherPath);
    if (path.find('/') == std::string::npos) {
        return;
    }
    const std::string directory = directoryOf(path);
    search.addHome(directory + "/jre");
    search.addHome(directory + "/jdk");
    if (!directory.empty()) {
        const std::string parent = directoryOf(directory);
        search.addHome(parent + "/jre");
        search.addHome(parent + "/jdk");
    }
}

void addUserRoots(JavaHomeSearch& search) {
    const char* value = std::getenv(INVENTORY_JAVA_ROOTS_VARIABLE);
    if (value == nullptr) {
        return;
    }
    const std::string roots(value);
    size_t start = 0;
    while (start <= roots.size()) {
        size_t end = roots.find(':', start);
        if (end == std::string::npos) {
            end = roots.size();
        }
        if (end > start) {
            search.addRoot(roots.substr(start, end - start), true);
        }
        start = end + 1;
    }
}

const char* search(inventory_isolate_thread& thread, int minimalVersion, const char* architecture,
                   const char* launcherPath) {
    const auto architectures = architectureNames(architecture);
    if (architectures.empty()) {
        thread.lastError = std::string("Unknown architecture '") +
                           (architecture != nullptr ? architecture : "(null)") + "'";
        return nullptr;
    }
    JavaHomeSearch search(minimalVersion, architectures);
    for (const char* root : kDefaultRoots) {
        search.addRoot(root, false);
    }
    addUserRoots(search);
    addBundledHomes(search, launcherPath);
    thread.answer = search.best();
    thread.lastError = search.errors();
    if (thread.answer.empty() && !thread.lastError.empty()) {
        return nullptr;
    }
    return thread.answer.c_str();
}

}  // namespace

INVENTORY_EXPORT int graal_create_isolate(void*, inventory_isolate** isolate,
                                          inventory_isolate_thread** thread) {
    if (thread == nullptr) {
        return kNoThreadOutput;
    }
    try {
        auto created = std::make_unique<inventory_isolate>();
        inventory_isolate* raw = created.get();
        {
            std::lock_guard<std::mutex> lock(registryMutex);
            registry.emplace(&raw->thread, std::move(created));
        }
        if (isolate != nullptr) {
            *isolate = raw;
        }
        *thread = &raw->thread;
        return kOk;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
}

INVENTORY_EXPORT int graal_tear_down_isolate(inventory_isolate_thread* thread) {
    std::unique_ptr<inventory_isolate> doomed;
    std::lock_guard<std::mutex> lock(registryMutex);
    auto found = registry.find(thread);
    if (found == registry.end()) {
        return kUnknownThread;
    }
    doomed = std::move(found->second);
    registry.erase(found);
    return kOk;
}

INVENTORY_EXPORT const char* findJavaComponent(inventory_isolate_thread* thread, int minimalVersion,
                                               const char* architecture, const char* launcherPath,
                                               void*) {
    if (!isLive(thread)) {
        return nullptr;
    }
    thread->answer.clear();
    thread->lastError.clear();
    // Nothing may unwind into a C caller.
    try {
        return search(*thread, minimalVersion, architecture, launcherPath);
    } catch (const std::exception& e) {
        thread->lastError = std::string("Java search failed: ") + e.what();
    } catch (...) {
        thread->lastError = "Java search failed";
    }
    thread->answer.clear();
    return nullptr;
}

INVENTORY_EXPORT const char* getLastError(inventory_isolate_thread* thread) {
    if (!isLive(thread)) {
        return "Not an isolate thread of the inventory library";
    }
    return thread->lastError.c_str();
}
