#pragma once

#include <stdexcept>
#include <utility>

// A value that may be absent, for optional numbers and settings of the command
// line and the configuration.
template <typename T>
class SimpleOptional {
  public:
    SimpleOptional() = default;
    SimpleOptional(T value) : value_(std::move(value)), present_(true) {}

    bool hasValue() const { return present_; }
    explicit operator bool() const { return present_; }

    const T& value() const {
        if (!present_) {
            throw std::logic_error("Asking value of empty optional");
        }
        return value_;
    }

    T valueOr(T fallback) const { return present_ ? value_ : std::move(fallback); }

  private:
    T value_{};
    bool present_ = false;
};
