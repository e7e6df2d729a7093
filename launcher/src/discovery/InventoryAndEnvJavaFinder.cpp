#include "discovery/InventoryAndEnvJavaFinder.h"

#include "discovery/IInventory.h"
#include "discovery/IJavaChecker.h"
#include "discovery/StdoutErrorPrinter.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/Logger.h"

InventoryAndEnvJavaFinder::InventoryAndEnvJavaFinder(IOsUtilsFactory& os, IInventory& inventory,
                                                     IJavaChecker& checker, IConsole& console)
    : os_(os), inventory_(inventory), checker_(checker), console_(console) {}

FoundJavaHome InventoryAndEnvJavaFinder::findJavaHome(int minimalVersion) {
    inventory_.init();
    takeInventoryError();

    // An inventory that failed to initialise hands its error to the printer
    // and answers nothing, so it needs no branch of its own here.
    StdoutErrorPrinter printer(console_);
    const std::wstring inventoryHome = inventory_.findJavaComponent(minimalVersion, printer);
    takeInventoryError();
    if (!inventoryHome.empty()) {
        // The inventory searched with the same minimum; checking again would
        // only repeat its work.
        LOG_INFO(L"InventoryAndEnvJavaFinder", L"Java home found by the inventory library",
                 L"javaHome", inventoryHome);
        return {inventoryHome, false};
    }

    const std::wstring environmentHome = os_.getProcessUtils().getEnv(L"JAVA_HOME");
    if (environmentHome.empty()) {
        return {};
    }
    if (!checker_.check(environmentHome, minimalVersion)) {
        LOG_INFO(L"InventoryAndEnvJavaFinder", L"JAVA_HOME is not a suitable Java home",
                 L"javaHome", environmentHome, L"minimalVersion", minimalVersion);
        return {};
    }
    return {environmentHome, true};
}

const std::wstring& InventoryAndEnvJavaFinder::getLastError() const {
    return lastError_;
}

void InventoryAndEnvJavaFinder::takeInventoryError() {
    const std::wstring& error = inventory_.getLastError();
    if (!error.empty() && error != lastError_) {
        lastError_ = error;
        LOG_WARN(L"InventoryAndEnvJavaFinder", L"Inventory library is not usable", L"error",
                 lastError_);
    }
}
