#pragma once

// What "--version" prints, the startup banner names and launcher.yml's
// ${launcher.version} and ${launcher.arch} expand to.
inline constexpr const wchar_t* kLauncherVersion = L"3.10.5+8";
inline constexpr const wchar_t* kLauncherArch = L"x86-64";
