#include "config/LauncherConfig.h"

#include <cerrno>
#include <cwchar>
#include <memory>
#include <string_view>

#include "config/YamlNode.h"
#include "config/YamlParser.h"
#include "entry/LauncherCliArgs.h"
#include "entry/LauncherVersion.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

const wchar_t* const kClassName = L"LauncherConfig";

// In the order they are written to the log.
const char* const kSimpleKeys[] = {"work-dir", "service-name", "java-home",   "pid-file",
                                   "log-file", "class-path",   "module-path", "main-class",
                                   "daemon",   "quiet",        "sigterm"};

bool isSimpleKey(const std::string& key) {
    for (const char* simple : kSimpleKeys) {
        if (key == simple) {
            return true;
        }
    }
    return false;
}

// Replaces every occurrence and searches again from where the replacement went
// in, so a placeholder that the inserted text completes is replaced as well. A
// replacement that holds the placeholder itself would keep that search going for
// ever; only then does the search go on behind it.
template <typename Produce>
void replaceAll(std::wstring& text, const std::wstring& placeholder, Produce produce) {
    size_t at = text.find(placeholder);
    if (at == std::wstring::npos) {
        return;
    }
    const std::wstring replacement = produce();
    const bool holdsItself = replacement.find(placeholder) != std::wstring::npos;
    while (at != std::wstring::npos) {
        text.replace(at, placeholder.size(), replacement);
        at = text.find(placeholder, holdsItself ? at + replacement.size() : at);
    }
}

}  // namespace

LauncherConfig LauncherConfig::readLauncherConfig(IOsUtilsFactory& os,
                                                  const std::wstring& instanceDirectory,
                                                  bool startMode) {
    LauncherConfig config;
    if (!startMode || instanceDirectory.empty()) {
        return config;
    }
    config.fileName_ = instanceDirectory + L"/launcher.yml";
    try {
        if (!os.getFileUtils().exists(config.fileName_)) {
            return config;
        }
        return readFile(os, config.fileName_, instanceDirectory);
    } catch (const LauncherException& e) {
        config.errorText_ = e.getMessage();
        config.errorCode_ = e.getCode();
    }
    return config;
}

LauncherConfig LauncherConfig::readFile(IOsUtilsFactory& os, const std::wstring& filePath,
                                        const std::wstring& instanceDirectory) {
    std::unique_ptr<FileContent> content = os.getFileUtils().readFile(filePath);
    std::string buffer(content->data(), content->size());
    buffer.append(4, '\0');
    std::unique_ptr<YamlNode> root = YamlParser::parse(buffer);

    LauncherConfig config;
    config.fileName_ = filePath;
    config.walk(os, *root, instanceDirectory);
    const SimpleOptional<std::wstring> sigterm = config.getSigterm();
    if (sigterm.hasValue() && !isSigtermAction(sigterm.value())) {
        throw LauncherException(
            LauncherException::kConfiguration,
            formatMessage("IDS_FILE_FORMAT_UNKNOWN_SIGTERM", filePath, sigterm.value()));
    }
    config.fileRead_ = true;
    return config;
}

std::wstring LauncherConfig::expandPlaceholders(IOsUtilsFactory& os, const std::wstring& value,
                                                const std::wstring& instanceDirectory,
                                                const std::wstring& fileName) {
    std::wstring text = value;
    replaceAll(text, L"${instance.root}", [&] {
        if (instanceDirectory.empty()) {
            throw LauncherException(
                LauncherException::kConfiguration,
                formatMessage("IDS_INSTANCE_IN_FILE_BUT_NOT_IN_CLI", fileName, value));
        }
        return instanceDirectory;
    });
    replaceAll(text, L"${env.path}", [&] { return os.getProcessUtils().getEnv(L"PATH"); });
    replaceAll(text, L"${launcher.dir}",
               [&] { return os.getProcessUtils().getExecutableDirectory(); });
    replaceAll(text, L"${launcher.pid}",
               [&] { return toText(static_cast<long>(os.getProcessUtils().getPid())); });
    replaceAll(text, L"${launcher.version}", [] { return std::wstring(kLauncherVersion); });
    replaceAll(text, L"${launcher.arch}", [] { return std::wstring(kLauncherArch); });
    return text;
}

bool LauncherConfig::isQuiet() const {
    auto quiet = values_.find(L"quiet");
    return quiet != values_.end() && quiet->second == L"true";
}

SimpleOptional<std::wstring> LauncherConfig::getValue(const std::wstring& key) const {
    auto found = values_.find(key);
    if (found == values_.end()) {
        return SimpleOptional<std::wstring>();
    }
    return found->second;
}

void LauncherConfig::walk(IOsUtilsFactory& os, const YamlNode& root,
                          const std::wstring& instanceDirectory) {
    auto expanded = [&](const YamlNode& node) {
        return expandPlaceholders(os, toWide(node.getValue()), instanceDirectory, fileName_);
    };
    const YamlNode* top = root.getFirstChild();
    if (top == nullptr) {
        throw LauncherException(LauncherException::kConfiguration,
                                formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", fileName_, L"root"));
    }
    if (top->getKey() != "launcher-parameters") {
        throw LauncherException(
            LauncherException::kConfiguration,
            formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", fileName_, toWide(top->getKey())));
    }
    const YamlNode* node = top->getFirstChild();
    while (node != nullptr) {
        if (node->getKind() == YamlNode::kComment) {
            node = node->getNext();
            continue;
        }
        if (node->getKind() == YamlNode::kSequenceItem) {
            failWrongStructure();
        }
        const std::string key = node->getKey();
        if (isSimpleKey(key)) {
            values_[toWide(key)] = expanded(*node);
            node = node->getNext();
        } else if (key == "jvm-opts" || key == "main-class-args") {
            // The list's items follow the key as its siblings. The entry that ends
            // the list goes with it unread: existing files were read that way.
            const YamlNode* end = readList(os, *node, instanceDirectory,
                                           key == "jvm-opts" ? jvmOpts_ : mainClassArgs_);
            node = end == nullptr ? nullptr : end->getNext();
        } else if (key == "banner") {
            // Nothing after the banners is read, as it never was.
            readBanners(os, *node, instanceDirectory);
            return;
        } else if (key == "minimal-java-version") {
            readMinimalJavaVersion(*node);
            node = node->getNext();
        } else {
            throw LauncherException(
                LauncherException::kConfiguration,
                formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", fileName_, toWide(key)));
        }
    }
}

const YamlNode* LauncherConfig::readList(IOsUtilsFactory& os, const YamlNode& key,
                                         const std::wstring& instanceDirectory,
                                         std::vector<std::wstring>& list) {
    const YamlNode* item = key.getNext();
    for (; item != nullptr; item = item->getNext()) {
        if (item->getKind() == YamlNode::kComment) {
            failWrongStructure();
        }
        if (item->getKind() != YamlNode::kSequenceItem) {
            break;
        }
        list.push_back(
            expandPlaceholders(os, toWide(item->getValue()), instanceDirectory, fileName_));
    }
    return item;
}

void LauncherConfig::readBanners(IOsUtilsFactory& os, const YamlNode& banner,
                                 const std::wstring& instanceDirectory) {
    for (const YamlNode* entry = banner.getFirstChild(); entry != nullptr;
         entry = entry->getNext()) {
        if (entry->getKind() != YamlNode::kEntry) {
            failWrongStructure();
        }
        banners_[toWide(entry->getKey())] =
            expandPlaceholders(os, toWide(entry->getValue()), instanceDirectory, fileName_);
    }
}

void LauncherConfig::readMinimalJavaVersion(const YamlNode& node) {
    const std::wstring text = toWide(node.getValue());
    const wchar_t* start = text.c_str();
    wchar_t* rest = nullptr;
    errno = 0;
    long version = std::wcstol(start, &rest, 10);
    if (rest == start || *rest != L'\0' || errno == ERANGE || version <= 7 || version >= 65536) {
        throw LauncherException(
            LauncherException::kConfiguration,
            formatMessage("IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION", fileName_, text));
    }
    minimalJavaVersion_ = static_cast<int32_t>(version);
    minimalJavaVersionText_ = text;
}

void LauncherConfig::failWrongStructure() const {
    throw LauncherException(LauncherException::kConfiguration,
                            formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", fileName_));
}

void LauncherConfig::logState(ILogger& logger) const {
    if (hasError()) {
        LOG_ERROR_TO(logger, kClassName, L"Cannot read file", L"errors", errorText_, L"fileName",
                     fileName_);
        return;
    }
    if (!fileRead_) {
        LOG_INFO_TO(logger, kClassName, L"No launcher parameters file read.", L"fileName",
                    fileName_);
        return;
    }
    std::wstring fileLine = L"Launcher parameters file read:";
    appendLogPair(fileLine, true, L"fileName", fileName_);
    for (const char* key : kSimpleKeys) {
        auto value = values_.find(toWide(key));
        if (value != values_.end()) {
            appendLogPair(fileLine, false, value->first, value->second);
        }
    }
    LOG_INFO_TO(logger, kClassName, fileLine);
    LOG_INFO_TO(logger, kClassName, L"Java parameters:", L"minimalJavaVersion",
                minimalJavaVersion_);
    LOG_INFO_TO(logger, kClassName, L"JVM options:", L"options", jvmOpts_);
    LOG_INFO_TO(logger, kClassName, L"main class arguments:", L"options", mainClassArgs_);
}
