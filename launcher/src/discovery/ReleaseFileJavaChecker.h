#pragma once

#include "discovery/IJavaChecker.h"

class IOsUtilsFactory;

// Trusts a Java home by what its "release" file says: a 64-bit runtime of at
// least the minimal major version.
class ReleaseFileJavaChecker : public IJavaChecker {
  public:
    explicit ReleaseFileJavaChecker(IOsUtilsFactory& os);

    // A home without a release file fails; a release file that cannot be read
    // throws, because that is a broken installation rather than a missing one.
    bool check(const std::wstring& javaHome, int minimalVersion) override;

  private:
    IOsUtilsFactory& os_;
};
