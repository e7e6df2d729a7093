#include "platform/NopLogger.h"

void NopLogger::log(const std::wstring&, const wchar_t*, const wchar_t*, int, const wchar_t*,
                    const std::wstring&) {}

void NopLogger::flush() {}

NopLogger& NopLogger::instance() {
    // Never destroyed: log calls may still arrive from JVM threads during exit.
    static NopLogger* nop = new NopLogger();
    return *nop;
}
