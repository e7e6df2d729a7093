#pragma once

// Receives the error texts the inventory library reports while it searches.
class IInventoryErrorConsumer {
  public:
    // text: NUL-terminated UTF-8, possibly null.
    virtual void onError(const char* text) = 0;
    virtual ~IInventoryErrorConsumer() = default;
};
