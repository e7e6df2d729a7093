#pragma once

#include <jni.h>

// Owns one JNI local reference and deletes it when it goes; bound to the thread
// whose JNIEnv made it.
class JniEntity {
  public:
    JniEntity(JNIEnv* env, jobject ref);
    virtual ~JniEntity();

    JniEntity(JniEntity&& other) noexcept;
    JniEntity& operator=(JniEntity&& other) noexcept;
    JniEntity(const JniEntity&) = delete;
    JniEntity& operator=(const JniEntity&) = delete;

    virtual bool isNull() const;
    virtual jobject get() const;
    // The same reference, spelt as the jobject that JNI call arguments take.
    virtual jobject asArgument() const;
    // A global reference to the same object; the caller owns it.
    virtual jobject newGlobalRef() const;

    // Gives up ownership: the reference is returned and this entity becomes null.
    jobject release();

    // The reference as one of JNI's typed aliases (jstring, jobjectArray...).
    template <typename T>
    T getAs() const {
        return static_cast<T>(ref_);
    }

  protected:
    JNIEnv* env_;
    jobject ref_;
};
