#include "config/ServiceInstanceParameters.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LinuxFileLogger.h"
#include "platform/LocalizationSupport.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

using Options = std::vector<std::wstring>;

const std::wstring kIniFile = L"/etc/default/Orvik/Tamsel/billing";

class ServiceInstanceParametersTest : public ::testing::Test {
  protected:
    ServiceInstanceParameters readIni(const std::string& content) {
        os.files.addFile(kIniFile, content);
        ServiceInstanceParameters parameters(os, L"billing");
        parameters.read();
        return parameters;
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

TEST_F(ServiceInstanceParametersTest, ReadsJavaHomeAndOptionsWhateverTheLineEnds) {
    const std::string lines[] = {
        "JAVA_HOME= /opt/java \t",
        "JAVA_OPT=-Xmx1g",
        "# JAVA_HOME=/commented",
        "JAVA_OPT=-Dfile.encoding=UTF-8",
        "",
        "  \t JAVA_OPT= -Dtext=a b  ",
        "FOO",
        "java_home=/lower",
        "JAVA_HOME = /spaced",
        "=no name",
    };
    for (const char* end : {"\n", "\r\n", "\r", "\r\n\n"}) {
        SCOPED_TRACE(testing::PrintToString(end));
        std::string content;
        for (const std::string& line : lines) {
            content += line + end;
        }
        ServiceInstanceParameters parameters = readIni(content);

        EXPECT_TRUE(parameters.isFileRead());
        EXPECT_EQ(L"", parameters.getErrorText());
        EXPECT_EQ(L"/opt/java", parameters.getJavaHome().value());
        EXPECT_EQ((Options{L"-Xmx1g", L"-Dfile.encoding=UTF-8", L" -Dtext=a b"}),
                  parameters.getJvmOptions());
        EXPECT_EQ((Options{L"java_home", L"JAVA_HOME "}), parameters.getUnknownOptions());
    }
}

TEST_F(ServiceInstanceParametersTest, LaterJavaHomeWinsAndAnEmptyOneIsAbsent) {
    EXPECT_EQ(L"/second", readIni("JAVA_HOME=/first\nJAVA_HOME=/second").getJavaHome().value());
    EXPECT_FALSE(readIni("JAVA_HOME=/first\nJAVA_HOME=  \n").getJavaHome().hasValue());
}

// What logState wrote, read back from a real log file.
std::vector<LogLine> logStateLines(const ServiceInstanceParameters& parameters) {
    TempDir dir;
    auto logger = std::make_unique<LinuxFileLogger>(dir.wpath("launcher.log"), 77);
    parameters.logState(*logger);
    logger.reset();
    std::vector<LogLine> lines = parseLogLines(readWholeFile(dir.path("launcher.log")));
    for (const LogLine& line : lines) {
        EXPECT_EQ("ServiceInstanceParameters", line.className);
        EXPECT_EQ("logState", line.function);
    }
    return lines;
}

std::vector<std::string> messages(const std::vector<LogLine>& lines) {
    std::vector<std::string> result;
    for (const LogLine& line : lines) {
        result.push_back(line.message);
    }
    return result;
}

// The launcher's own view: an ini file on disk, in a directory of the test's.
TEST(ServiceInstanceParametersFileTest, ReadsAndLogsARealIniFile) {
    ScopedCatalogue english;
    TempDir dir;
    dir.write("billing", "JAVA_OPT=-Xmx1g\r\nJAVA_OPT=-Da=b\r\nFOO=1\r\n");
    ServiceInstanceParameters parameters(getOsUtilsFactory(), L"billing", dir.wpath() + L"/");
    parameters.read();

    const std::string file = dir.path("billing");
    EXPECT_EQ((std::vector<std::string>{
                  "Reading service ini file: EOL type was detected by choosing most frequent one "
                  "filename=" +
                      file,
                  "Unknown option in the service ini file fileName=" + file + ", option=FOO",
                  "ServiceInstanceParameters: parameters read from service ini file: fileName=" +
                      file + ", JAVA_HOME=<unspecified>",
                  "ServiceInstanceParameters: JVM options read from service ini file: "
                  "options='-Xmx1g, -Da=b'",
              }),
              messages(logStateLines(parameters)));
}

TEST_F(ServiceInstanceParametersTest, ReadsNothingWithoutNameOrFileAndLogsWhy) {
    ServiceInstanceParameters unnamed(os, L"");
    unnamed.read();
    EXPECT_EQ(L"", unnamed.getFileName());
    EXPECT_EQ((std::vector<std::string>{"ServiceInstanceParameters: no parameters read from "
                                        "service ini file fileName=, serviceName="}),
              messages(logStateLines(unnamed)));

    ServiceInstanceParameters missing(os, L"billing");
    missing.read();
    EXPECT_FALSE(missing.isFileRead());
    EXPECT_EQ(L"", missing.getErrorText());
    std::vector<LogLine> missingLines = logStateLines(missing);
    EXPECT_EQ((std::vector<std::string>{
                  "Service configuration file not found fileName=/etc/default/Orvik/Tamsel/billing",
                  "ServiceInstanceParameters: no parameters read from service ini file "
                  "fileName=/etc/default/Orvik/Tamsel/billing, serviceName=billing"}),
              messages(missingLines));

    os.files.addFile(kIniFile, "JAVA_HOME=/opt/java\n");
    os.files.failOn(kIniFile);
    ServiceInstanceParameters unreadable(os, L"billing");
    unreadable.read();
    EXPECT_FALSE(unreadable.isFileRead());
    EXPECT_FALSE(unreadable.getJavaHome().hasValue());
    std::vector<LogLine> unreadableLines = logStateLines(unreadable);
    ASSERT_EQ(2u, unreadableLines.size());
    EXPECT_EQ("WARN", unreadableLines[0].level);
    EXPECT_EQ(
        "Cannot open service configuration file Exception=\"Cannot read file "
        "'/etc/default/Orvik/Tamsel/billing'. Error: (13) Permission denied\", "
        "fileName=/etc/default/Orvik/Tamsel/billing, serviceName=billing",
        unreadableLines[0].message);
}

}  // namespace
