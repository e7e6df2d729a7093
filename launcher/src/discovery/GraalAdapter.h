#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "discovery/IGraalAdapter.h"

class ILibraryHandle;
class IOsUtilsFactory;

// The inventory library's loader and isolate bookkeeper: it counts the
// isolates it creates so that one left behind shows up in the log.
class GraalAdapter : public IGraalAdapter {
  public:
    GraalAdapter(IOsUtilsFactory& os, std::wstring libraryPath);
    ~GraalAdapter() override;
    GraalAdapter(const GraalAdapter&) = delete;
    GraalAdapter& operator=(const GraalAdapter&) = delete;

    void init() override;
    GraalIsolateThread* createIsolateAndAttache() override;
    void tearDownIsolate(GraalIsolateThread* thread) override;
    void* getFunction(const char* name) override;
    const std::wstring& getLibraryPath() const override;
    const std::wstring& getLastError() const override;

  private:
    using CreateIsolateFunction = int (*)(void* params, void** isolate,
                                          GraalIsolateThread** thread);
    using TearDownIsolateFunction = int (*)(GraalIsolateThread* thread);

    IOsUtilsFactory& os_;
    std::wstring libraryPath_;
    std::shared_ptr<ILibraryHandle> library_;
    CreateIsolateFunction createIsolate_ = nullptr;
    TearDownIsolateFunction tearDownIsolate_ = nullptr;
    int32_t createdIsolatesCounter_ = 0;
    std::wstring lastError_;
};
