#pragma once

#include <string>

#include "discovery/IJavaFinder.h"

class IConsole;
class IInventory;
class IJavaChecker;
class IOsUtilsFactory;

// Asks the inventory library for a Java home, then falls back to JAVA_HOME if
// its release file qualifies. A broken or missing inventory library only costs
// an error line: the environment is still tried, since users often copy the
// launcher alone and rely on JAVA_HOME.
class InventoryAndEnvJavaFinder : public IJavaFinder {
  public:
    InventoryAndEnvJavaFinder(IOsUtilsFactory& os, IInventory& inventory, IJavaChecker& checker,
                              IConsole& console);

    FoundJavaHome findJavaHome(int minimalVersion) override;
    const std::wstring& getLastError() const override;

  private:
    void takeInventoryError();

    IOsUtilsFactory& os_;
    IInventory& inventory_;
    IJavaChecker& checker_;
    IConsole& console_;
    std::wstring lastError_;
};
