#include "jvm/TwoArgumentsMethodVariant.h"

#include <utility>

#include "jvm/JvmEnv.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {
const wchar_t* const kClass = L"TwoArgumentsMethodVariant";
const char* const kPutSignature = "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;";

std::wstring describe(const std::map<std::wstring, std::wstring>& properties) {
    std::wstring text;
    for (const auto& [key, value] : properties) {
        text += key + L" = " + value + L";";
    }
    return text;
}

std::wstring describe(const std::map<std::wstring, bool>& properties) {
    std::wstring text;
    for (const auto& [key, value] : properties) {
        text += key + L" = " + (value ? L"TRUE" : L"FALSE") + L";";
    }
    return text;
}
}  // namespace

TwoArgumentsMethodVariant::TwoArgumentsMethodVariant(
    std::wstring methodName, std::vector<std::wstring> args,
    std::map<std::wstring, std::wstring> pathProperties,
    std::map<std::wstring, bool> booleanProperties)
    : methodName_(std::move(methodName)),
      args_(std::move(args)),
      pathProperties_(std::move(pathProperties)),
      booleanProperties_(std::move(booleanProperties)) {}

bool TwoArgumentsMethodVariant::isTargetMethodExists(JvmEnv& env, jclass classRef,
                                                     const std::wstring& className) {
    return hasStaticMethod(env, classRef, className, methodName_, kSignature);
}

JniEntity TwoArgumentsMethodVariant::makeProperties(JvmEnv& env,
                                                    const std::wstring& className) const {
    JNIEnv* jni = env.getEnv();
    JniClass mapClass = env.findClass("java/util/HashMap");
    JniObject map = env.wrapObject(mapClass, mapClass.newObject());

    JniClass booleanClass = env.findClass("java/lang/Boolean");
    JniEntity trueValue = booleanClass.getStaticObjectField("TRUE", "Ljava/lang/Boolean;");
    JniEntity falseValue = booleanClass.getStaticObjectField("FALSE", "Ljava/lang/Boolean;");
    for (const auto& [key, value] : booleanProperties_) {
        JniEntity javaKey = env.wrapObject(jni->NewStringUTF(toUtf8(key).c_str()));
        JniEntity previous =
            map.callObjectMethod("put", kPutSignature, javaKey.asArgument(),
                                 value ? trueValue.asArgument() : falseValue.asArgument());
        throwIfJavaThrew(env, kClass, className, methodName_);
    }

    JniClass pathsClass = env.findClass("java/nio/file/Paths");
    JniEntity noMoreParts = makeStringArray(env, {});
    for (const auto& [key, value] : pathProperties_) {
        JniEntity javaKey = env.wrapObject(jni->NewStringUTF(toUtf8(key).c_str()));
        JniEntity javaValue = env.wrapObject(jni->NewStringUTF(toUtf8(value).c_str()));
        JniEntity path = pathsClass.callStaticObjectMethod(
            "get", "(Ljava/lang/String;[Ljava/lang/String;)Ljava/nio/file/Path;",
            javaValue.asArgument(), noMoreParts.asArgument());
        throwIfJavaThrew(env, kClass, className, methodName_);
        JniEntity previous =
            map.callObjectMethod("put", kPutSignature, javaKey.asArgument(), path.asArgument());
        throwIfJavaThrew(env, kClass, className, methodName_);
    }
    // The map's class wrapper dies here, so hand back a plain entity.
    return JniEntity(std::move(map));
}

void TwoArgumentsMethodVariant::call(JvmEnv& env, jclass classRef, const std::wstring& className,
                                     const std::function<void()>& entering) {
    JniEntity args = makeStringArray(env, args_);
    JniEntity properties = makeProperties(env, className);
    LOG_INFO(kClass, L"Do call JMethod", L"args", joinArgs(args_), L"pathProperties",
             describe(pathProperties_), L"booleanProperties", describe(booleanProperties_),
             L"method", methodName_, L"class", className);
    getLogger().flush();
    JniClass cls = env.classFromObject(classRef, className);
    entering();
    cls.callStaticVoidMethod(methodName_, kSignature, properties.asArgument(), args.asArgument());
    checkOutcome(env, kClass, className, methodName_);
}

std::wstring TwoArgumentsMethodVariant::toString() const {
    return L"TwoArgumentsMethodVariant(" + methodName_ + L")";
}
