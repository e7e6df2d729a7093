#pragma once

// What "--version" prints and the startup banner names.
inline constexpr const wchar_t* kLauncherVersion = L"3.10.5+8";
