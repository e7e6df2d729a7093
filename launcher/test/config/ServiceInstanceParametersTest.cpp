#include "config/ServiceInstanceParameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeOsUtilsFactory.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"

namespace {

using Lines = std::vector<std::string>;

// "LEVEL message" of each line logState wrote.
Lines logState(FakeOsUtilsFactory& os) {
    ServiceInstanceParameters parameters(os, L"billing");
    parameters.read();
    CapturedLog log;
    parameters.logState(getLogger());
    return log.find("");
}

TEST(ServiceInstanceParametersTest, ReadsJavaHomeAndOptionsWhateverTheLineEnds) {
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    const std::wstring path = L"/etc/default/Orvik/Tamsel/billing";
    const std::string file = "fileName=/etc/default/Orvik/Tamsel/billing";
    // "|" stands for the line end; the last JAVA_HOME wins, trimmed, and options keep
    // their blanks inside.
    const std::string lines =
        "JAVA_HOME=/first|JAVA_HOME= /opt/java \t|JAVA_OPT=-Xmx1g|# JAVA_HOME=/comment||"
        "  \t JAVA_OPT= -Dtext=a b  |FOO|java_home=/lower|JAVA_HOME = /spaced|=no name|";
    for (const std::string end : {"\n", "\r\n", "\r", "\r\n\n"}) {
        std::string content;
        for (char c : lines) {
            content += c == '|' ? end : std::string(1, c);
        }
        os.files.addFile(path, content);
        EXPECT_EQ(
            (Lines{"INFO Reading service ini file: EOL type was detected by choosing most "
                   "frequent one filename=/etc/default/Orvik/Tamsel/billing",
                   "WARN Unknown option in the service ini file " + file + ", option=java_home",
                   "WARN Unknown option in the service ini file " + file + ", option=JAVA_HOME ",
                   "INFO ServiceInstanceParameters: parameters read from service ini file: " +
                       file + ", JAVA_HOME=/opt/java",
                   "INFO ServiceInstanceParameters: JVM options read from service ini "
                   "file: options='-Xmx1g,  -Dtext=a b'"}),
            logState(os))
            << testing::PrintToString(end);
    }
    os.files.failOn(path);
    EXPECT_EQ("WARN Cannot open service configuration file Exception=\"Cannot read file '" +
                  std::string(path.begin(), path.end()) + "'. Error: (13) Permission denied\", " +
                  file + ", serviceName=billing",
              logState(os).at(0));
}

}  // namespace
