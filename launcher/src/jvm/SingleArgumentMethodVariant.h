#pragma once

#include <string>
#include <vector>

#include "jvm/IMethodVariant.h"

// static void name(String[] args)
class SingleArgumentMethodVariant : public IMethodVariant {
  public:
    static constexpr const char* kSignature = "([Ljava/lang/String;)V";

    SingleArgumentMethodVariant(std::wstring methodName, std::vector<std::wstring> args);

    bool isTargetMethodExists(JvmEnv& env, jclass classRef, const std::wstring& className) override;
    void call(JvmEnv& env, jclass classRef, const std::wstring& className,
              const std::function<void()>& entering) override;
    std::wstring toString() const override;
    const std::wstring& getMethodName() const override { return methodName_; }

  private:
    std::wstring methodName_;
    std::vector<std::wstring> args_;
};
