#include "config/ServiceInstanceParameters.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LinuxFileLogger.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

using Lines = std::vector<std::string>;

class ServiceInstanceParametersTest : public ::testing::Test {
  protected:
    ServiceInstanceParameters read() {
        ServiceInstanceParameters parameters(os, L"billing");
        parameters.read();
        return parameters;
    }
    void write(const std::string& text) { os.files.addFile(kFile, text); }

    const std::wstring kFile = L"/etc/default/Orvik/Tamsel/billing";
    const std::string file = "fileName=/etc/default/Orvik/Tamsel/billing";
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

// "LEVEL message" for each line logState wrote, read back from a real log file.
Lines logState(const ServiceInstanceParameters& parameters) {
    TempDir dir;
    auto logger = std::make_unique<LinuxFileLogger>(dir.wpath("launcher.log"), 77);
    parameters.logState(*logger);
    logger.reset();
    Lines lines;
    for (const LogLine& line : parseLogLines(readWholeFile(dir.path("launcher.log")))) {
        EXPECT_EQ("ServiceInstanceParameters logState", line.className + " " + line.function);
        lines.push_back(line.level + " " + line.message);
    }
    return lines;
}

TEST_F(ServiceInstanceParametersTest, ReadsJavaHomeAndOptionsWhateverTheLineEnds) {
    // "|" stands for the line end.
    const std::string lines =
        "JAVA_HOME=/first|JAVA_HOME= /opt/java \t|JAVA_OPT=-Xmx1g|# JAVA_HOME=/comment||"
        "  \t JAVA_OPT= -Dtext=a b  |FOO|java_home=/lower|JAVA_HOME = /spaced|=no "
        "name|JAVA_OPT=-Da=b|";
    for (const std::string end : {"\n", "\r\n", "\r", "\r\n\n"}) {
        SCOPED_TRACE(testing::PrintToString(end));
        std::string content;
        for (char c : lines) {
            content += c == '|' ? end : std::string(1, c);
        }
        write(content);
        ServiceInstanceParameters parameters = read();
        EXPECT_EQ(L"/opt/java", parameters.getJavaHome().value());
        EXPECT_EQ((std::vector<std::wstring>{L"-Xmx1g", L" -Dtext=a b", L"-Da=b"}),
                  parameters.getJvmOptions());
        EXPECT_EQ(
            (Lines{"INFO Reading service ini file: EOL type was detected by choosing most "
                   "frequent one filename=/etc/default/Orvik/Tamsel/billing",
                   "WARN Unknown option in the service ini file " + file + ", option=java_home",
                   "WARN Unknown option in the service ini file " + file + ", option=JAVA_HOME ",
                   "INFO ServiceInstanceParameters: parameters read from service ini file: " +
                       file + ", JAVA_HOME=/opt/java",
                   "INFO ServiceInstanceParameters: JVM options read from service ini "
                   "file: options='-Xmx1g,  -Dtext=a b, -Da=b'"}),
            logState(parameters));
    }
    write("JAVA_HOME=/first\nJAVA_HOME=  \n");
    EXPECT_FALSE(read().getJavaHome().hasValue());
}

TEST_F(ServiceInstanceParametersTest, LogsAMissingOrUnreadableFile) {
    EXPECT_EQ((Lines{"INFO Service configuration file not found " + file,
                     "INFO ServiceInstanceParameters: no parameters read from service ini file " +
                         file + ", serviceName=billing"}),
              logState(read()));
    write("JAVA_HOME=/opt/java\n");
    os.files.failOn(kFile);
    ServiceInstanceParameters unreadable = read();
    EXPECT_FALSE(unreadable.getJavaHome().hasValue());
    EXPECT_EQ(
        "WARN Cannot open service configuration file Exception=\"Cannot read file "
        "'/etc/default/Orvik/Tamsel/billing'. Error: (13) Permission denied\", " +
            file + ", serviceName=billing",
        logState(unreadable).at(0));
}

}  // namespace
