#include "platform/LocalTime.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

std::string localTimeStamp() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    // Sized for any int the fields could hold, though a real date needs 23 bytes.
    char stamp[96];
    int length = std::snprintf(stamp, sizeof(stamp), "%04d/%02d/%02d-%02d:%02d:%02d.%03d",
                               local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                               local.tm_min, local.tm_sec, static_cast<int>(now.tv_usec / 1000));
    return std::string(stamp, length > 0 ? length : 0);
}
