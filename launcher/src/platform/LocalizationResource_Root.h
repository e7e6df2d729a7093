#pragma once

#include "platform/ILocalizationResource.h"

// The English catalogue, the default language.
class LocalizationResource_Root : public ILocalizationResource {
  public:
    std::wstring getLanguageCode() const override;
    void fillMessages(MessageTable& table) const override;
};
