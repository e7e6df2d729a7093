#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/IJavaLibResolver.h"

class IOsUtilsFactory;

// Looks for libjvm.so in the places both old (JDK with an embedded JRE) and
// new (single runtime image) Java homes keep it.
class JavaLibResolver : public IJavaLibResolver {
  public:
    // Relative to the Java home, in the order they are tried. The inventory
    // library reads the same list, so a home it offers is one this resolver
    // can use.
    static constexpr std::array<std::wstring_view, 3> kCandidateDirectories = {
        L"/jre/lib/amd64/server/", L"/lib/amd64/server/", L"/lib/server/"};
    static constexpr std::wstring_view kLibraryName = L"libjvm.so";

    explicit JavaLibResolver(IOsUtilsFactory& os);

    std::wstring findJvmLibrary(const std::wstring& javaHome) override;
    std::vector<std::wstring> getExtraLibraries(const std::wstring& javaHome) override;
    bool hasMessage() const override;
    const std::wstring& getMessage() const override;

  private:
    IOsUtilsFactory& os_;
    std::wstring message_;
};
