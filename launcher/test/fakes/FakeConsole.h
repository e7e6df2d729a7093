#pragma once

#include <memory>
#include <string>

#include "platform/IConsole.h"

// Captures what is written to the console. Consoles made from one Text (as
// FakeOsUtilsFactory makes them) share it, so a test can read what a console it
// never owned received.
class FakeConsole : public IConsole {
  public:
    struct Text {
        std::wstring out;
        std::wstring err;
    };

    explicit FakeConsole(std::shared_ptr<Text> text = std::make_shared<Text>())
        : text_(std::move(text)) {}

    void write(const std::wstring& text) override { text_->out += text; }
    void writeError(const std::wstring& text) override { text_->err += text; }
    void writeLine(const std::wstring& text) override { write(text + L"\n"); }
    void writeErrorLine(const std::wstring& text) override { writeError(text + L"\n"); }

    const std::wstring& out() const { return text_->out; }
    const std::wstring& err() const { return text_->err; }

  private:
    std::shared_ptr<Text> text_;
};
