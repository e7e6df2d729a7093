#pragma once

#include <jni.h>

#include <string>

#include "jvm/JniEntity.h"
#include "jvm/JniObject.h"

// Owns a local reference to a Java class and names it in messages; the static
// calls and lookups of the JVM hosting code go through it.
class JniClass {
  public:
    JniClass(JNIEnv* env, jclass clazz, std::string name);
    ~JniClass();

    JniClass(JniClass&& other) noexcept;
    JniClass& operator=(JniClass&& other) noexcept;
    JniClass(const JniClass&) = delete;
    JniClass& operator=(const JniClass&) = delete;

    bool isNull() const;
    jclass get() const;
    const char* getName() const;
    // A global reference to the class; the caller owns it.
    jobject newGlobalRef() const;

    // A new local reference to an object of this class; this class must outlive it.
    JniObject wrapLocal(jobject object) const;

    // Lookups that fail throw IDS_CANNOT_FIND_JMETHOD (IDS_CANNOT_FIND_JFIELD for
    // fields) and leave the Java exception pending for the caller to clear.
    JniEntity callStaticObjectMethod(const char* name, const char* signature, ...) const;
    void callStaticVoidMethod(const char* name, const char* signature, ...) const;
    void callStaticVoidMethod(const std::wstring& name, const char* signature, ...) const;
    // An instance made with the no-argument constructor.
    JniEntity newObject() const;
    JniEntity getStaticObjectField(const char* name, const char* signature) const;
    // Never throws and leaves no exception pending.
    bool isStaticMethodExists(const std::wstring& name, const char* signature) const;

  private:
    jmethodID lookUpStatic(const char* name, const std::wstring& nameForMessage,
                           const char* signature) const;
    void throwMissingMethod(const std::wstring& name) const;

    JNIEnv* env_;
    jclass clazz_;
    std::string name_;
};
