#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

// One search for the best Java home of a minimal version and architecture.
class JavaHomeSearch {
  public:
    // acceptedArchitectures: the OS_ARCH values a home may carry.
    JavaHomeSearch(int minimalVersion, std::span<const std::wstring_view> acceptedArchitectures);

    // A directory of Java homes, or a Java home itself. A root that does not
    // exist is skipped quietly unless it is required (named by the user).
    void addRoot(const std::string& root, bool required);
    // A single candidate; anything that is not a suitable home is skipped.
    void addHome(const std::string& home);

    // The real path of the best home, empty when none qualified.
    const std::string& best() const { return best_.path; }
    // Every problem met, separated by "; ", empty when there was none.
    const std::string& errors() const { return errors_; }
    size_t homesExamined() const { return seen_.size(); }

  private:
    struct Candidate {
        std::string path;
        int featureVersion = -1;
        std::vector<unsigned long> fullVersion;
    };

    bool better(const Candidate& candidate) const;
    void addError(const std::string& text);

    int minimalVersion_;
    std::span<const std::wstring_view> acceptedArchitectures_;
    std::unordered_set<std::string> seen_;
    Candidate best_;
    std::string errors_;
};

// The OS_ARCH values meaning the named architecture; empty for one unknown.
std::span<const std::wstring_view> architectureNames(const char* architecture);
