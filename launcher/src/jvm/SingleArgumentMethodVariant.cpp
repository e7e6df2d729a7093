#include "jvm/SingleArgumentMethodVariant.h"

#include <utility>

#include "jvm/JvmEnv.h"
#include "platform/Logger.h"

namespace {
const wchar_t* const kClass = L"SingleArgumentMethodVariant";
}

SingleArgumentMethodVariant::SingleArgumentMethodVariant(std::wstring methodName,
                                                         std::vector<std::wstring> args)
    : methodName_(std::move(methodName)), args_(std::move(args)) {}

bool SingleArgumentMethodVariant::isTargetMethodExists(JvmEnv& env, jclass classRef,
                                                       const std::wstring& className) {
    return hasStaticMethod(env, classRef, className, methodName_, kSignature);
}

void SingleArgumentMethodVariant::call(JvmEnv& env, jclass classRef, const std::wstring& className,
                                       const std::function<void()>& entering) {
    JniEntity args = makeStringArray(env, args_);
    LOG_INFO(kClass, L"Do call JMethod", L"args", joinArgs(args_), L"method", methodName_, L"class",
             className);
    getLogger().flush();
    JniClass cls = env.classFromObject(classRef, className);
    entering();
    cls.callStaticVoidMethod(methodName_, kSignature, args.asArgument());
    checkOutcome(env, kClass, className, methodName_);
}

std::wstring SingleArgumentMethodVariant::toString() const {
    return L"SingleArgumentMethodVariant(" + methodName_ + L")";
}
