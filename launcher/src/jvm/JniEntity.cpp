#include "jvm/JniEntity.h"

#include <utility>

JniEntity::JniEntity(JNIEnv* env, jobject ref) : env_(env), ref_(ref) {}

JniEntity::~JniEntity() {
    // JNI accepts a null reference here, and a moved-from entity holds one.
    if (env_ != nullptr) {
        env_->DeleteLocalRef(ref_);
    }
}

JniEntity::JniEntity(JniEntity&& other) noexcept
    : env_(other.env_), ref_(std::exchange(other.ref_, nullptr)) {}

JniEntity& JniEntity::operator=(JniEntity&& other) noexcept {
    if (this != &other) {
        if (env_ != nullptr && ref_ != nullptr) {
            env_->DeleteLocalRef(ref_);
        }
        env_ = other.env_;
        ref_ = std::exchange(other.ref_, nullptr);
    }
    return *this;
}

bool JniEntity::isNull() const {
    return ref_ == nullptr;
}

jobject JniEntity::get() const {
    return ref_;
}

jobject JniEntity::asArgument() const {
    return ref_;
}

jobject JniEntity::newGlobalRef() const {
    return env_->NewGlobalRef(ref_);
}

jobject JniEntity::release() {
    return std::exchange(ref_, nullptr);
}
