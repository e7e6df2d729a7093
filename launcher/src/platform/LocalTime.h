#pragma once

#include <string>

// The local time now as "YYYY/MM/DD-hh:mm:ss.mmm", the stamp of log lines and of
// the launcher's start.
std::string localTimeStamp();
