#pragma once

#include "fakes/FakeSystemUtils.h"
#include "platform/LocalizationSupport.h"

// Installs a message catalogue of the given language for the life of a test.
class ScopedCatalogue {
  public:
    explicit ScopedCatalogue(const wchar_t* language = L"en")
        : system_(language, language), catalogue_(system_) {}
    const LocalizationSupport& get() const { return catalogue_; }

  private:
    FakeSystemUtils system_;
    LocalizationSupport catalogue_;
};
