#pragma once

// A wait for stop requests that other threads, or signals, can end.
class ICancellableWait {
  public:
    // Records a stop request of the given kind and wakes a waiter; 0 when a request
    // of that kind was already recorded.
    virtual int request(bool fast) = 0;
    // Blocks until a stop request arrives: 1 simple stop, 2 fast stop, 0 when both
    // kinds were received before the call and nothing more can come.
    virtual int waitForEvent() = 0;
    virtual ~ICancellableWait() = default;
};
