#pragma once

#include "fakes/FakeSystemUtils.h"
#include "platform/LocalizationSupport.h"

// Installs the English message catalogue for the life of a test.
class ScopedCatalogue {
  public:
    ScopedCatalogue() : catalogue_(system_) {}

  private:
    FakeSystemUtils system_;
    LocalizationSupport catalogue_;
};
