#pragma once

#include <string>

class IInventoryErrorConsumer;

// The inventory library's view of the Java installations on this machine.
class IInventory {
  public:
    // Loads the library; a failure is kept in getLastError(), not thrown.
    virtual void init() = 0;
    // The best Java home of at least minimalJavaVersion, or empty. Errors the
    // library reports go to errorConsumer.
    virtual std::wstring findJavaComponent(int minimalJavaVersion,
                                           IInventoryErrorConsumer& errorConsumer) = 0;
    // Empty while the library is usable.
    virtual const std::wstring& getLastError() const = 0;
    virtual const std::wstring& getLibraryPath() const = 0;
    virtual ~IInventory() = default;
};
