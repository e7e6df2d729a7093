#include "service/LinuxService.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "service/IServiceObject.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"

namespace {

// A service object that records what the wrapper asks of it, and the state then.
class RecordingServiceObject : public IServiceObject {
  public:
    void prepare(IService& service) override { record(L"prepare", service); }
    int32_t run(IService& service) override { return record(L"run", service), 100; }
    void stop(IService& service) override { record(L"stop", service); }
    void exceptionHandler(const LauncherException& exception) override {
        calls.push_back(L"exceptionHandler " + std::to_wstring(exception.getCode()) + L" " +
                        exception.getMessage());
    }
    void record(const wchar_t* call, IService& service) {
        calls.push_back(call + std::to_wstring(static_cast<LinuxService&>(service).getState()));
    }

    std::vector<std::wstring> calls;
};

// Neither a second start nor a failed split from the terminal reaches the service
// object's run; a daemon, whose terminal is gone, reports through the object.
TEST(LinuxServiceTest, ASecondStartEndsWith21AndAFailedDaemonWith20) {
    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    RecordingServiceObject object;
    LinuxService service(object, false, false, os);
    EXPECT_EQ(100, service.run());
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ(21, service.run());
    EXPECT_EQ((std::vector<std::wstring>{L"prepare1", L"run1"}), object.calls);
    EXPECT_EQ(std::vector<std::string>{"ERROR Cannot start service twice."},
              log.find("Cannot start service twice."));

    object.calls.clear();
    os.system.lastError = L"(11) Resource temporarily unavailable";
    os.process.detachSucceeds = false;
    LinuxService daemon(object, true, true, os);
    EXPECT_EQ(20, daemon.run());
    EXPECT_EQ(
        std::vector<std::wstring>{L"exceptionHandler 20 (11) Resource temporarily unavailable"},
        object.calls);
    EXPECT_EQ(LinuxService::kStopped, daemon.getState());
    EXPECT_EQ("S", os.process.detachedUntil);
    EXPECT_EQ(std::vector<std::string>{"ERROR Daemon failed Error=(11) Resource temporarily "
                                       "unavailable"},
              log.find("Daemon failed"));
}

// The routine marks the service started on every turn of its event loop; the service
// manager hears of it once, and a detached launcher names itself as the main process.
// Nothing at all goes to a service manager that does not listen.
TEST(LinuxServiceTest, ReadinessIsReportedOnceAndOnlyToAListeningServiceManager) {
    ScopedCatalogue english;
    CapturedLog log;
    class MarkingTwice : public RecordingServiceObject {
        int32_t run(IService& service) override {
            service.reportStartPending(1500);
            service.markStarted();
            service.markStarted();
            service.reportStopPending(20);
            return 0;
        }
    };
    for (const bool daemon : {false, true}) {
        for (const bool listening : {false, true}) {
            FakeOsUtilsFactory os;
            os.notifier.listening = listening;
            MarkingTwice object;
            LinuxService service(object, daemon, false, os);
            EXPECT_EQ(0, service.run());
            const std::wstring mainPid = daemon ? L"\nMAINPID=4242" : L"";
            const std::vector<std::wstring> expected = {
                L"EXTEND_TIMEOUT_USEC=1500000" + mainPid,
                L"READY=1\nSTATUS=The service is running" + mainPid,
                L"STOPPING=1\nEXTEND_TIMEOUT_USEC=20000" + mainPid};
            EXPECT_EQ(listening ? expected : std::vector<std::wstring>{}, os.notifier.messages);
            EXPECT_EQ("S", os.process.reportedStages);
        }
    }
}

}  // namespace
