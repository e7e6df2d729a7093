#include "service/IService.h"

#include <atomic>

namespace {
std::atomic<IService*> currentService{nullptr};
}

void setCurrentService(IService* service) {
    currentService.store(service, std::memory_order_release);
}

IService* getCurrentService() {
    return currentService.load(std::memory_order_acquire);
}
