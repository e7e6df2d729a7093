#pragma once

#include <jni.h>

#include <memory>
#include <string>
#include <vector>

#include "jvm/JniClass.h"
#include "jvm/JniEntity.h"
#include "jvm/JniObject.h"

// Binds the calling native thread to the JVM for as long as it lives: detaches
// the thread again if it attached it, and frees the global references it keeps.
// It and every wrapper made from it belong to that one thread.
class JvmEnv {
  public:
    // For a native thread that is not attached yet; attaches it under the name.
    static std::unique_ptr<JvmEnv> createNewThread(JavaVM* jvm, const char* threadName);
    // For a thread that is already attached; leaves it attached when destroyed.
    static std::unique_ptr<JvmEnv> attachToExistingThread(JavaVM* jvm);
    // For the thread that created the JVM, with the env JNI_CreateJavaVM gave it.
    static std::unique_ptr<JvmEnv> fromCreatingThread(JavaVM* jvm, JNIEnv* env);

    ~JvmEnv();
    JvmEnv(const JvmEnv&) = delete;
    JvmEnv& operator=(const JvmEnv&) = delete;

    JNIEnv* getEnv() const { return env_; }

    // Throws IDS_CANNOT_FIND_CLASS and leaves the Java exception pending.
    JniClass findClass(const char* name);
    // A null class when absent; the caller clears the pending exception.
    JniClass findClassOrNull(const char* name);
    JniClass findClassOrNull(const std::wstring& name);
    // A new local reference to the class object ref, named name in messages.
    JniClass classFromObject(jobject ref, const std::wstring& name);
    // The class of object, named "java/lang/Class" whatever it really is: the
    // launcher only asks it for class objects.
    JniClass getObjectClass(jobject object);
    JniEntity wrapObject(jobject ref);
    // Moves the reference out of entity into an object of class cls.
    JniObject wrapObject(const JniClass& cls, JniEntity&& entity);

    JniEntity exceptionOccurred();
    bool exceptionCheck();
    void exceptionClear();

    // Deleted when this env goes, which for a named thread is when it detaches.
    void keepGlobalRef(jobject ref);

  private:
    JvmEnv(JavaVM* jvm, JNIEnv* env, bool detachOnDestroy);
    // threadName null: the thread must be attached already.
    static std::unique_ptr<JvmEnv> attachThreadToJvmThread(JavaVM* jvm, const char* threadName);

    JavaVM* jvm_;
    JNIEnv* env_;
    bool detachOnDestroy_;
    std::vector<jobject> globalRefs_;
};
