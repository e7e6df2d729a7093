#pragma once

#include <string>

#include "discovery/GraalAdapter.h"
#include "discovery/IInventory.h"

class IOsUtilsFactory;

// Calls the inventory library's query functions, each on an isolate of its own.
class Inventory : public IInventory {
  public:
    // The architecture the launcher runs Java for, in the library's terms.
    static constexpr const char* kArchitecture = "x86_64";

    Inventory(IOsUtilsFactory& os, std::wstring libraryPath);

    void init() override;
    std::wstring findJavaComponent(int minimalJavaVersion,
                                   IInventoryErrorConsumer& errorConsumer) override;
    const std::wstring& getLastError() const override;
    const std::wstring& getLibraryPath() const override;

  private:
    using FindJavaComponentFunction = const char* (*)(GraalIsolateThread* thread,
                                                      int minimalJavaVersion,
                                                      const char* architecture,
                                                      const char* launcherPath, void* reserved);
    using GetLastErrorFunction = const char* (*)(GraalIsolateThread* thread);

    void reportError(IInventoryErrorConsumer& errorConsumer) const;

    IOsUtilsFactory& os_;
    GraalAdapter adapter_;
    GetLastErrorFunction getLastError_ = nullptr;
    FindJavaComponentFunction findJavaComponent_ = nullptr;
    bool initialised_ = false;
    std::wstring lastError_;
};
