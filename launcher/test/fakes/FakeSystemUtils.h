#pragma once

#include <map>
#include <memory>
#include <string>

#include "fakes/FakeLibraryHandle.h"
#include "platform/ISystemUtils.h"

// System utilities with a locale chosen by the test. Libraries come from the
// libraries map; any other path fails to load with the loader's usual text.
class FakeSystemUtils : public ISystemUtils {
  public:
    explicit FakeSystemUtils(std::wstring localeName = L"en_US", std::wstring language = L"en")
        : localeName(std::move(localeName)), language(std::move(language)) {}

    std::wstring getCurrentTimeText() override { return L"2024/03/05-14:07:09.042"; }
    std::wstring getLastErrorText() override { return lastError; }
    std::wstring getLocaleName() override { return localeName; }
    std::wstring getLanguage() override { return language; }
    std::shared_ptr<ILibraryHandle> loadLibrary(const std::wstring& path) override {
        auto found = libraries.find(path);
        return found != libraries.end()
                   ? found->second
                   : std::make_shared<FakeLibraryHandle>(
                         path + L": cannot open shared object file: No such file or directory");
    }

    std::wstring localeName;
    std::wstring language;
    std::wstring lastError = L"(2) No such file or directory";
    std::map<std::wstring, std::shared_ptr<ILibraryHandle>> libraries;
};
