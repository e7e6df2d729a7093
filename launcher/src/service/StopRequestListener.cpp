#include "service/StopRequestListener.h"

#include "platform/LauncherException.h"
#include "service/LinuxStopRequestListener.h"

std::shared_ptr<StopRequestListener> StopRequestListener::create(ISystemUtils& systemUtils) {
    auto listener = std::make_unique<LinuxStopRequestListener>(systemUtils);
    if (!currentStopListener::publish(listener.get())) {
        throw LauncherException(LauncherException::kInternal,
                                L"A stop request listener is already running");
    }
    listener.release();
    return std::shared_ptr<StopRequestListener>(new StopRequestListener());
}

int StopRequestListener::requestStop(bool fast) {
    return currentStopListener::request(fast);
}

int StopRequestListener::request(bool fast) {
    return currentStopListener::request(fast);
}

int StopRequestListener::waitForEvent() {
    return currentStopListener::waitForEvent();
}

StopRequestListener::~StopRequestListener() {
    delete currentStopListener::withdraw();
}
