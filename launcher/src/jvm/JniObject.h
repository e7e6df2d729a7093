#pragma once

#include <jni.h>

#include "jvm/JniEntity.h"

class JniClass;

// A local reference to an object of a known class, for instance-method calls.
class JniObject : public JniEntity {
  public:
    // cls is not owned and must outlive this object.
    JniObject(JNIEnv* env, jobject ref, const JniClass* cls);
    JniObject(JniObject&&) noexcept = default;
    JniObject& operator=(JniObject&&) noexcept = default;

    // A method the class lacks throws IDS_CANNOT_FIND_JMETHOD and leaves the Java
    // exception pending; exceptions thrown by the Java code itself are left to the
    // caller's exceptionCheck.
    JniEntity callObjectMethod(const char* name, const char* signature, ...) const;
    jint callIntMethod(const char* name, const char* signature, ...) const;
    void callVoidMethod(const char* name, const char* signature, ...) const;

  private:
    jmethodID lookUp(const char* name, const char* signature) const;

    const JniClass* cls_;
};
