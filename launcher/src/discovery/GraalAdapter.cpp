#include "discovery/GraalAdapter.h"

#include "platform/IOsUtilsFactory.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

GraalAdapter::GraalAdapter(IOsUtilsFactory& os, std::wstring libraryPath)
    : os_(os), libraryPath_(std::move(libraryPath)) {}

GraalAdapter::~GraalAdapter() {
    if (createdIsolatesCounter_ != 0) {
        LOG_ERROR(L"GraalAdapter", L"Inconsistent Graal isolates count", L"createdIsolatesCounter",
                  createdIsolatesCounter_);
    }
    if (library_ && !library_->isNull()) {
        library_->close();
        library_.reset();
        LOG_INFO(L"GraalAdapter", L"Inventory library unloaded");
    }
}

void GraalAdapter::init() {
    if (library_) {
        return;
    }
    library_ = os_.getSystemUtils().loadLibrary(libraryPath_);
    if (library_->isNull()) {
        lastError_ =
            formatMessage("IDS_INVENTORY_LIB_ABSENT", libraryPath_, library_->getErrorText());
        return;
    }
    createIsolate_ = reinterpret_cast<CreateIsolateFunction>(getFunction("graal_create_isolate"));
    if (createIsolate_ == nullptr) {
        return;
    }
    tearDownIsolate_ =
        reinterpret_cast<TearDownIsolateFunction>(getFunction("graal_tear_down_isolate"));
}

GraalIsolateThread* GraalAdapter::createIsolateAndAttache() {
    if (createIsolate_ == nullptr) {
        // Not loaded: init() failed or was never called, and lastError_ says why
        // in the first case.
        return nullptr;
    }
    GraalIsolateThread* thread = nullptr;
    const int code = createIsolate_(nullptr, nullptr, &thread);
    if (code != 0) {
        LOG_ERROR(L"GraalAdapter",
                  L"Cannot initialize Graal VM. Code " + toText(static_cast<long>(code)) + L".");
        lastError_ = formatMessage("IDS_INVENTORY_GRAAL_INIT_FAIL", code);
        return nullptr;
    }
    ++createdIsolatesCounter_;
    return thread;
}

void GraalAdapter::tearDownIsolate(GraalIsolateThread* thread) {
    if (thread == nullptr || tearDownIsolate_ == nullptr) {
        return;
    }
    --createdIsolatesCounter_;
    LOG_INFO(L"GraalAdapter", L"Uninitializing Graal VM library");
    tearDownIsolate_(thread);
    LOG_INFO(L"GraalAdapter", L"Graal VM library uninitialized");
}

void* GraalAdapter::getFunction(const char* name) {
    void* function = nullptr;
    if (library_ && !library_->isNull()) {
        function = library_->getSymbol(name);
    }
    if (function == nullptr) {
        lastError_ = formatMessage("IDS_INVENTORY_LIB_WRONG", libraryPath_, toWide(name));
    }
    return function;
}

const std::wstring& GraalAdapter::getLibraryPath() const {
    return libraryPath_;
}

const std::wstring& GraalAdapter::getLastError() const {
    return lastError_;
}
