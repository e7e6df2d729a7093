#include "platform/LocalizationResource_Root.h"

std::wstring LocalizationResource_Root::getLanguageCode() const {
    return L"en";
}

void LocalizationResource_Root::fillMessages(MessageTable& table) const {
    table["IDS_STARTUP_HEADER"] = "%ls started (launcher %ls, x86-64), PID=%d";
    table["IDS_STARTED_HEADER"] = "Press Ctrl+C to exit.";
    table["IDS_STOPPED_HEADER"] = "Launcher has stopped.";
    table["IDS_UNABLE_TO_RESOLVE_PATH"] = "Unable to resolve path '%ls'. Error: %ls";
    table["IDS_UNABLE_TO_CONVERT_PATH_TO_ABS"] =
        "Unable to convert path to absolute '%ls'. Error: %ls";
    table["IDS_DESTINATION_IS_NOT_ACCESSIBLE"] = "'%ls' destination '%ls' is not accessible.";
    table["IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX"] =
        "'%ls' destination '%ls' is not accessible. Error: %ls";
    table["IDS_2DESTINATIONS_NOT_ACCESSIBLE"] =
        "%ls and %ls destinations are not accessible: %ls. Error: %ls";
    table["IDS_OPTION_DUPLICATION_PROHIBITED"] =
        "%ls can not be duplicated, only one occurrence is allowed";
    table["IDS_CANNOT_SET_INSTANCE_ROOT"] = "Cannot set instance root: '%ls'. Error: %ls";
    table["IDS_INSTANCE_ROOT_NOT_EXIST"] =
        "Cannot set instance root, because directory '%ls' does not exist.";
    table["IDS_INSTANCE_ROOT_IS_A_FILE"] = "Cannot set instance root, because '%ls' is a file.";
    table["IDS_OPTIONS_CONFLICT"] = "%ls is conflicting with %ls";
    table["IDS_OPTION_WITHOUT_VALUE"] = "Option %ls value is not set";
    table["IDS_LOG_REUSE_OF_OTHER_STREAMS_PROHIBITED"] =
        "--clog cannot reuse destination of --cout or --cerr: %ls";
    table["IDS_CANNOT_ROTATE_LOG"] =
        "Cannot rotate launcher log: source '%ls', target '%ls'. Error: %ls";
    table["IDS_PID_INVALID_SYNTAX"] = "Invalid PID syntax: '%ls'";
    table["IDS_PID_INVALID_VALUE"] = "Invalid PID: '%ls'";
    table["IDS_INVALID_TIMEOUT"] = "Invalid timeout '%ls'";
    table["IDS_PIDFILE_ZEROSIZE"] = "Zero-sized PID file '%ls'";
    table["IDS_PIDFILE_BAD_CHARS"] = "Illegal characters in PID file '%ls'";
    table["IDS_PIDFILE_EXTRACHARS"] = "Extra characters in PID file '%ls'";
    table["IDS_PIDFILE_EXISTS_PROCESS_RUNNING"] =
        "PID file exists and the process with PID referenced there is running";
    table["IDS_PIDFILE_CANNOT_BE_DELETED"] =
        "PID file '%ls' exists and cannot be deleted. Error: %ls";
    table["IDS_FILE_TOO_BIG"] = "File '%ls' is too big";
    table["IDS_CANNOT_DELETE_FILE"] = "Cannot delete file '%ls'. Error: %ls";
    table["IDS_FILE_READ_ERROR"] = "Cannot read file '%ls'. Error: %ls";
    table["IDS_FILE_WRITE_ERROR"] = "Cannot write file '%ls'. Error: %ls";
    table["IDS_FILE_CREATION_ERROR"] = "Cannot create file '%ls'. Error: %ls";
    table["IDS_FILE_FORMAT_UNKNOWN_FIELD"] = "Error reading file '%ls'. Unknown field '%ls'.";
    table["IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION"] =
        "Error reading file '%ls'. Unknown Java version '%ls'.";
    table["IDS_FILE_FORMAT_WRONG_STRUCTURE"] = "Error reading file '%ls'. Wrong structure.";
    table["IDS_INSTANCE_IN_FILE_BUT_NOT_IN_CLI"] =
        "Error reading file '%ls'. Launcher has no --instance parameter but config file has a "
        "reference to it '%ls'.";
    table["IDS_CANNOT_GET_COMMAND_LINE_ARGS"] = "Cannot read command line. Error: %ls";
    table["IDS_NONE_OF_2OPTIONS_ARE_SET"] = "None of CLI arguments %ls and %ls are set";
    table["IDS_INSTANCE_IN_STOP_MODE"] = "Parameter --instance is only supported in start mode";
    table["IDS_OPTS_MUT_EX_MET"] = "Mutually exclusive CLI arguments %ls and %ls are set";
    table["IDS_UNSUPPORTED_MODE"] = "Unknown mode '%ls'";
    table["IDS_UNEXPECTED_CLI_ARGS"] = "Unexpected CLI arguments: %ls";
    table["IDS_CANNOT_START_WAITING_FOR_STOP_SIGNAL"] =
        "Cannot start waiting for a stop signal. Error: %ls";
    table["IDS_STOP_SIGNAL_WAIT_FAILED"] = "Cannot wait for a stop signal. Error: %ls";
    table["IDS_CANNOT_OPEN_STOPPING_PROCESS_EVENT"] =
        "Cannot open stopping process event. Error: %ls";
    table["IDS_GRACEFUL_SHUTDOWN_TIMED_OUT"] =
        "Graceful shutdown is not finished timely and will be terminated.";
    table["IDS_APP_DIDNT_SUCCEEDED"] = "Flow did not succeeded in graceful manner";
    table["IDS_UNABLE_TO_RESOLVE"] = "Unable to resolve %ls";
    table["IDS_CANNOT_GUESS_JAVAHOME"] =
        "Cannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor environment "
        "variable contains a suitable Java version.";
    table["IDS_CANNOT_FIND_CLASS"] = "Cannot find Java class %ls";
    table["IDS_CANNOT_LOAD_CLASS_INCORRECT_FORMAT"] =
        "Cannot load Java class %ls. Incorrect class format.";
    table["IDS_CANNOT_LOAD_CLASS"] = "Cannot load Java class %ls.";
    table["IDS_CANNOT_FIND_JMETHOD"] = "Cannot find function '%ls' in class '%ls'";
    table["IDS_CANNOT_CALL"] = "Cannot call %ls.";
    table["IDS_UNABLE_LOAD_JVM_DEP"] = "Cannot load JVM library dependency %ls. Error: %ls";
    table["IDS_UNABLE_LOAD_LIBJVM"] = "Cannot load JVM library from '%ls'. Error: %ls";
    table["IDS_LIBJVM_NO_CREATE_FN"] = "JVM library '%ls' has no JNI_CreateJavaVM function";
    table["IDS_CANNOT_CREATE_JVM_INSTANCE"] =
        "Cannot create JVM %ls instance with library '%ls'. Error %d: %ls";
    table["IDS_CANNOT_CREATE_JVM_INSTANCE_VER"] =
        "Cannot create JVM %d instance with library '%ls'. Java version is not sufficient for the "
        "application.";
    table["IDS_WRONG_FILE_SIGNATURE"] = "Wrong %ls signature in '%ls'";
    table["IDS_DLL_UNKNOWN_BINTYPE"] = "Unknown binary type of library '%ls'";
    table["IDS_DLL_NOT_ELF"] = "A library format is not ELF: '%ls'";
    table["IDS_DLL_BAD_ARCH"] = "'%ls' is not a 64-bit library";
    table["IDS_WILDCARDS_ONLY_FOR_FILES"] =
        "Only file names can contain wildcards, directory paths must not: '%ls'";
    table["IDS_CANNOT_FIND_MODULE_PATH"] =
        "Modulepath was set but no files meet the mask. Search path: %ls";
    table["IDS_CANNOT_FIND_CLASS_PATH"] =
        "Classpath was set but no files meet the mask. Search path: %ls";
    table["IDS_CANNOT_CWD"] = "Cannot change current directory to '%ls'. Error: %ls";
    table["IDS_FAILED_TO_CHECK_PROCESS_RUNNING"] =
        "Cannot detect whether process PID=%d is running. Error: %ls";
    table["IDS_CANNOT_ATTACH_NATIVE_THREAD_TO_JVM_THREAD"] =
        "Cannot attach native thread to JVM thread.";
    table["IDS_CLASS_AND_MODULE_PATHS_ARE_EMPTY"] =
        "Neither --jclasspath nor --jmodulepath is set.";
    table["IDS_YAML_MULTIPLE_DOCS"] =
        "Error parsing launcher.yml: multiple documents are not supported. Error at file offset "
        "%d.";
    table["IDS_YAML_WRONG_STRUCTURE"] =
        "Error parsing launcher.yml: wrong structure. Error at file offset %d.";
    table["IDS_YAML_KEY_EXPECTED"] =
        "Error parsing launcher.yml: key expected. Error at file offset %d.";
    table["IDS_YAML_WRONG_INDENT"] =
        "Error parsing launcher.yml: wrong indent level. Error at file offset %d.";
    table["IDS_INVENTORY_LIB_ABSENT"] =
        "Cannot load Orvik inventory library looking at path %ls. Error: %ls";
    table["IDS_INVENTORY_LIB_WRONG"] =
        "Cannot load function from Orvik Inventory library at path %ls. Function: %ls";
    table["IDS_INVENTORY_GRAAL_INIT_FAIL"] = "Cannot initialize Orvik Inventory library. Error: %d";
    table["IDS_CLI_MODE_DESCR_HELP"] = "Show usage information for a given mode.";
    table["IDS_CLI_MODE_DESCR_START"] = "Launch Java-code in dedicated JVM.";
    table["IDS_CLI_MODE_DESCR_STOP"] =
        "Communicate with another instance of launcher to stop it gracefully.";
    table["IDS_CLI_SWITCH_DESCR_VERSION"] = "show version";
    table["IDS_CLI_SWITCH_DESCR_HELP"] = "show brief usage information";
    table["IDS_CLI_USAGE_USAGE"] = "Usage:";
    table["IDS_CLI_USAGE_COMMON_PARAMS"] = "Common parameters:";
    table["IDS_CLI_USAGE_MODE"] = "Mode:";
    table["IDS_CLI_USAGE_PARAMS"] = "Parameters:";
    table["IDS_CLISWITCH_DAEMON"] = "Launcher is running as a service";
    table["IDS_CLISWITCH_PROCNAME"] =
        "Tag to identify current launcher process when using external tools like ps+grep";
    table["IDS_CLISWITCH_INSTANCE"] =
        "The path to the instance directory which defines default values for logging and "
        "configuration";
    table["IDS_CLISWITCH_WORKDIR"] = "The path to the directory the application should work within";
    table["IDS_CLISWITCH_PIDFILE"] = "The path to the file to store launcher process PID";
    table["IDS_CLISWITCH_COUT"] = "The name of the file to redirect standard output stream to";
    table["IDS_CLISWITCH_CERR"] = "The name of the file to redirect standard error stream to";
    table["IDS_CLISWITCH_CSTD"] =
        "The name of the file to redirect standard output and error streams to; always dominates "
        "over --cout and --cerr";
    table["IDS_CLISWITCH_CLOG"] = "The name of the launcher log file";
    table["IDS_CLISWITCH_SERVICENAME"] = "The name of the service being started";
    table["IDS_CLISWITCH_JHOME"] =
        "Java home directory (JDK or JRE). The option is mutually exclusive with --jvmdll";
    table["IDS_CLISWITCH_JVMDLL"] =
        "The path to a JVM library. The option is mutually exclusive with --javahome";
    table["IDS_CLISWITCH_CLISWITCH_JVMOPT"] =
        "The JVM optional argument; this option is repetitive";
    table["IDS_CLISWITCH_JCLASSPATH"] = "Java classpath with wildcards substitution";
    table["IDS_CLISWITCH_JMODULEPATH"] = "Java module-path with wildcards substitution";
    table["IDS_CLISWITCH_JIFACECLASS"] =
        "The path to the Java class with contract-conforming interface";
    table["IDS_CLISWITCH_JIFACEARG"] =
        "The Java class main function argument; this option is repetitive";
    table["IDS_CLISWITCH_QUIET"] = "Do not print out startup message.";
    table["IDS_CLISWITCH_WAIT"] =
        "With --daemon: return once the service has started, or with the exit code of the "
        "launcher that failed to start it";
    table["IDS_SERVICE_STATUS_RUNNING"] = "The service is running";
    table["IDS_OPTION_NEEDS_OTHER"] = "%ls can only be used together with %ls";
    table["IDS_CLISWITCH_SIGTERM"] =
        "What a SIGTERM from another process does: jvm (the default) leaves it to the JVM, "
        "stop makes it a graceful stop, fast a fast one";
    table["IDS_INVALID_SIGTERM"] = "Invalid %ls value '%ls': expected jvm, stop or fast";
    table["IDS_FILE_FORMAT_UNKNOWN_SIGTERM"] =
        "Error reading file '%ls'. Unknown sigterm value '%ls': expected jvm, stop or fast.";
    table["IDS_CLISWITCH_PID"] =
        "The PID of another launcher process this launcher should stop. The option is mutually "
        "exclusive with --pidfile";
    table["IDS_CLISWITCH_TIMEOUT"] =
        "The number of milliseconds to wait until another launcher process would stop. On this "
        "timeout expiration another process would be killed";
    table["IDS_CLISWITCH_FAST"] = "Stop another launcher in fast mode";
    table["IDS_LAUNCHER_NOT_FOUND_NOTHING_STOPPED"] =
        "Launcher with PID=%d not found, nothing was stopped";
    table["IDS_LAUNCHER_STOPPED_GRACEFULLY"] = "Launcher with PID=%d stopped gracefully";
    table["IDS_LAUNCHER_KILLED"] = "Launcher with PID=%d was forced to stop";
    table["IDS_LAUNCHER_KILL_ERROR"] =
        "Launcher with PID=%d is still exist regardless of killing attempt";
    table["IDS_PIDFILE_WAS_REMOVED"] = " and its PID-file was removed";
    table["IDS_PIDFILE_FAILED_TO_REMOVE"] = " but its PID-file was not removed";
    table["IDS_LAUNCHER_SIGNAL_PERM_ERROR"] =
        "Launcher is not permitted to stop process with PID=%d";
    table["IDS_CANNOT_FIND_INI_IN_SERVICE"] = "Cannot open service configuration file";
    table["IDS_CANNOT_FIND_JVMLIB"] = "Cannot find JVM library";
    table["IDS_JAVA_EXIT_ABNORMALLY"] = "JVM exited with nonzero exit code";
    table["IDS_JAVA_HALTED"] = "JVM halted";
    table["IDS_PIDFILE_OF_ANOTHER_IS_DIRECTORY"] = "PID-file of another instance is a directory";
    table["IDS_PIDFILE_OF_ANOTHER_WAS_REMOVED"] = "PID-file of another instance was removed";
    table["IDS_ANOTHER_ASKED_TO_STOP"] = "A stop request was sent to another launcher instance";
    table["IDS_NORMAL_EXIT"] = "Normal exit";
    table["IDS_JAVA_HOME_FROM_SYSENV"] = "Using a JAVA_HOME value from a system environment";
    table["IDS_SERVICE_CONFIG_NOT_FOUND"] = "Service configuration file not found";
}
