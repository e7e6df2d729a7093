#pragma once

#include "discovery/IInventoryErrorConsumer.h"

class IConsole;

// Shows the inventory library's errors on standard output, so a user who
// wonders why no Java was found sees that the library had trouble.
class StdoutErrorPrinter : public IInventoryErrorConsumer {
  public:
    explicit StdoutErrorPrinter(IConsole& console);

    void onError(const char* text) override;

  private:
    IConsole& console_;
};
