#pragma once

#include "platform/ILocalizationResource.h"

// The Russian catalogue: every English id plus two ids of its own.
class LocalizationResource_Ru : public ILocalizationResource {
  public:
    std::wstring getLanguageCode() const override;
    void fillMessages(MessageTable& table) const override;
};
