#pragma once

#include <map>
#include <string>
#include <vector>

#include "jvm/IMethodVariant.h"

// static void name(Map<String, Object> properties, String[] args); the map holds
// Boolean values and java.nio.file.Path values.
class TwoArgumentsMethodVariant : public IMethodVariant {
  public:
    static constexpr const char* kSignature = "(Ljava/util/Map;[Ljava/lang/String;)V";

    TwoArgumentsMethodVariant(std::wstring methodName, std::vector<std::wstring> args,
                              std::map<std::wstring, std::wstring> pathProperties,
                              std::map<std::wstring, bool> booleanProperties);

    bool isTargetMethodExists(JvmEnv& env, jclass classRef, const std::wstring& className) override;
    void call(JvmEnv& env, jclass classRef, const std::wstring& className,
              const std::function<void()>& entering) override;
    std::wstring toString() const override;
    const std::wstring& getMethodName() const override { return methodName_; }

  private:
    // Booleans first, paths second: a key in both maps ends up with its path.
    JniEntity makeProperties(JvmEnv& env, const std::wstring& className) const;

    std::wstring methodName_;
    std::vector<std::wstring> args_;
    std::map<std::wstring, std::wstring> pathProperties_;
    std::map<std::wstring, bool> booleanProperties_;
};
