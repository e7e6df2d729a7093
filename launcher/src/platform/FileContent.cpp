#include "platform/FileContent.h"

#include <utility>

FileContent::FileContent(std::wstring path, size_t size) : path_(std::move(path)), bytes_(size) {}
