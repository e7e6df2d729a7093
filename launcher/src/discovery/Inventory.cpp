#include "discovery/Inventory.h"

#include "discovery/IInventoryErrorConsumer.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

// Tears the isolate down on every way out of a call, including exceptions
// thrown while its answer is converted.
class IsolateGuard {
  public:
    IsolateGuard(IGraalAdapter& adapter, GraalIsolateThread* thread)
        : adapter_(adapter), thread_(thread) {}
    ~IsolateGuard() { adapter_.tearDownIsolate(thread_); }
    IsolateGuard(const IsolateGuard&) = delete;
    IsolateGuard& operator=(const IsolateGuard&) = delete;

  private:
    IGraalAdapter& adapter_;
    GraalIsolateThread* thread_;
};

}  // namespace

Inventory::Inventory(IOsUtilsFactory& os, std::wstring libraryPath)
    : os_(os), adapter_(os, std::move(libraryPath)) {}

void Inventory::init() {
    if (initialised_) {
        return;
    }
    initialised_ = true;
    adapter_.init();
    if (!adapter_.getLastError().empty()) {
        lastError_ = adapter_.getLastError();
        return;
    }
    findJavaComponent_ =
        reinterpret_cast<FindJavaComponentFunction>(adapter_.getFunction("findJavaComponent"));
    if (findJavaComponent_ != nullptr) {
        getLastError_ =
            reinterpret_cast<GetLastErrorFunction>(adapter_.getFunction("getLastError"));
    }
    if (findJavaComponent_ == nullptr || getLastError_ == nullptr) {
        lastError_ = adapter_.getLastError();
    }
}

std::wstring Inventory::findJavaComponent(int minimalJavaVersion,
                                          IInventoryErrorConsumer& errorConsumer) {
    init();
    if (!lastError_.empty()) {
        reportError(errorConsumer);
        return {};
    }
    GraalIsolateThread* thread = adapter_.createIsolateAndAttache();
    if (thread == nullptr) {
        lastError_ = adapter_.getLastError();
        reportError(errorConsumer);
        return {};
    }
    IsolateGuard guard(adapter_, thread);

    const std::string launcherPath = toUtf8(os_.getProcessUtils().getExecutablePath());
    const char* javaHome = findJavaComponent_(thread, minimalJavaVersion, kArchitecture,
                                              launcherPath.c_str(), nullptr);
    if (javaHome != nullptr) {
        // An empty answer is a search that found nothing suitable: not an
        // error, so nothing is printed and JAVA_HOME gets its turn quietly.
        return toWide(javaHome);
    }
    // Null is the library's way of saying the search itself failed. Its text
    // belongs to this isolate, so it is read before the guard tears it down.
    const char* error = getLastError_(thread);
    if (error != nullptr && *error != '\0') {
        LOG_WARN(L"Inventory", L"Inventory library search failed", L"error", toWide(error));
        errorConsumer.onError(error);
    }
    return {};
}

const std::wstring& Inventory::getLastError() const {
    return lastError_;
}

const std::wstring& Inventory::getLibraryPath() const {
    return adapter_.getLibraryPath();
}

void Inventory::reportError(IInventoryErrorConsumer& errorConsumer) const {
    errorConsumer.onError(toUtf8(lastError_).c_str());
}
