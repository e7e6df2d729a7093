#pragma once

#include <map>
#include <string>
#include <vector>

// What the command-line parser made of the arguments: the mode, the values given
// to its entries, a request for help or for the version, or what was wrong.
class CliParseResult {
  public:
    const std::wstring& getModeName() const { return modeName_; }
    void setModeName(std::wstring modeName) { modeName_ = std::move(modeName); }

    bool hasError() const { return !errors_.empty(); }
    // One message per problem, in the order the arguments showed them.
    const std::vector<std::wstring>& getErrors() const { return errors_; }
    void addError(std::wstring message);
    void clearErrors() { errors_.clear(); }

    void addValue(const std::wstring& name, std::wstring value);
    bool has(const std::wstring& name) const;
    // The first value of an entry; empty when it was not given.
    std::wstring getValue(const std::wstring& name) const;
    // Every value of an entry in the order given; empty when it was not given.
    const std::vector<std::wstring>& getValues(const std::wstring& name) const;

    // A topic named outright ("help start") wins over one implied by "--help".
    void requestHelp(const std::wstring& topic, bool named);
    bool isHelpRequested() const { return helpRequested_; }
    // The mode whose usage was asked for.
    const std::wstring& getHelpTopic() const { return helpTopic_; }

    void requestVersion() { versionRequested_ = true; }
    bool isVersionRequested() const { return versionRequested_; }

  private:
    std::wstring modeName_;
    std::vector<std::wstring> errors_;
    std::map<std::wstring, std::vector<std::wstring>> values_;
    bool helpRequested_ = false;
    bool helpTopicNamed_ = false;
    std::wstring helpTopic_;
    bool versionRequested_ = false;
};
