#include "platform/LocalTime.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

namespace {

// Writes value as exactly `width` decimal digits, the way "%0Nd" prints a value
// of at most N digits.
char* putDigits(char* out, int value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + width;
}

}  // namespace

std::string localTimeStamp() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const int year = local.tm_year + 1900;
    const int millis = static_cast<int>(now.tv_usec / 1000);
    // Every log line carries a stamp; printf's format parsing would cost more than
    // the rest of the line, so the usual date is written digit by digit.
    if (year >= 0 && year <= 9999 && local.tm_mon >= 0 && local.tm_mon <= 98 &&
        local.tm_mday >= 0 && local.tm_mday <= 99 && local.tm_hour >= 0 && local.tm_hour <= 99 &&
        local.tm_min >= 0 && local.tm_min <= 99 && local.tm_sec >= 0 && local.tm_sec <= 99 &&
        millis >= 0 && millis <= 999) {
        char stamp[23];
        char* p = putDigits(stamp, year, 4);
        *p++ = '/';
        p = putDigits(p, local.tm_mon + 1, 2);
        *p++ = '/';
        p = putDigits(p, local.tm_mday, 2);
        *p++ = '-';
        p = putDigits(p, local.tm_hour, 2);
        *p++ = ':';
        p = putDigits(p, local.tm_min, 2);
        *p++ = ':';
        p = putDigits(p, local.tm_sec, 2);
        *p++ = '.';
        p = putDigits(p, millis, 3);
        return std::string(stamp, p);
    }
    // Sized for any int the fields could hold, though a real date needs 23 bytes.
    char stamp[96];
    int length = std::snprintf(stamp, sizeof(stamp), "%04d/%02d/%02d-%02d:%02d:%02d.%03d", year,
                               local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                               local.tm_sec, millis);
    return std::string(stamp, length > 0 ? length : 0);
}
