#include "platform/LocalizationResource_Ru.h"

std::wstring LocalizationResource_Ru::getLanguageCode() const {
    return L"ru";
}

// The texts keep the English ones' placeholders in the same order; a few of them
// keep long-standing misspellings and an English "Error" that users already know.
void LocalizationResource_Ru::fillMessages(MessageTable& table) const {
    table["IDS_STARTUP_HEADER"] = "%ls запущен (launcher %ls, x86-64), PID=%d";
    table["IDS_STARTED_HEADER"] = "Нажмите Ctrl+C для завершения.";
    table["IDS_STOPPED_HEADER"] = "Launcher остановлен.";
    table["IDS_UNABLE_TO_RESOLVE_PATH"] = "Не удается разрешить путь '%ls'. Ошибка: %ls";
    table["IDS_UNABLE_TO_CONVERT_PATH_TO_ABS"] =
        "Не удается конвертировать путь в абсолютный '%ls'. Error: %ls";
    table["IDS_DESTINATION_IS_NOT_ACCESSIBLE"] = "'%ls': путь назначения '%ls' недоступен.";
    table["IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX"] =
        "'%ls': путь назначения '%ls' недоступен. Ошибка: %ls";
    table["IDS_2DESTINATIONS_NOT_ACCESSIBLE"] =
        "Пути назначения %ls и %ls недоступны: %ls. Ошибка: %ls";
    table["IDS_OPTION_DUPLICATION_PROHIBITED"] = "%ls не может повторяться";
    table["IDS_CANNOT_SET_INSTANCE_ROOT"] =
        "Не удается задать корневой каталог экземпляра: '%ls'. Ошибка: %ls";
    table["IDS_INSTANCE_ROOT_NOT_EXIST"] =
        "Не удается задать корневой каталог экземпляра: каталог '%ls' не существует.";
    table["IDS_INSTANCE_ROOT_IS_A_FILE"] =
        "Не удается задать корневой каталог экземпляра: '%ls' является файлом.";
    table["IDS_OPTIONS_CONFLICT"] = "%ls конфликтует с %ls";
    table["IDS_OPTION_WITHOUT_VALUE"] = "Не задано значение параметра %ls";
    table["IDS_LOG_REUSE_OF_OTHER_STREAMS_PROHIBITED"] =
        "--clog не может использовать назначение --cout или --cerr: %ls";
    table["IDS_CANNOT_ROTATE_LOG"] =
        "Не удается выполнить ротацию журнала launcher: исходный файл '%ls', целевой файл "
        "'%ls'. Ошибка: %ls";
    table["IDS_PID_INVALID_SYNTAX"] = "Некорректный формат PID: '%ls'";
    table["IDS_PID_INVALID_VALUE"] = "Некорректный PID: '%ls'";
    table["IDS_INVALID_TIMEOUT"] = "Некорректное время ожидания '%ls'";
    table["IDS_PIDFILE_ZEROSIZE"] = "PID-файл '%ls' имеет нулевой размер";
    table["IDS_PIDFILE_BAD_CHARS"] = "Недопустимые символы в PID-файле '%ls'";
    table["IDS_PIDFILE_EXTRACHARS"] = "Лишние символы в PID-файле '%ls'";
    table["IDS_PIDFILE_EXISTS_PROCESS_RUNNING"] =
        "PID-файл существует, и процесс с указанным в нем PID запущен";
    table["IDS_PIDFILE_CANNOT_BE_DELETED"] =
        "PID-файл '%ls' существует и не может быть удален. Ошибка: %ls";
    table["IDS_FILE_TOO_BIG"] = "Файл '%ls' слишком большой";
    table["IDS_CANNOT_DELETE_FILE"] = "Не удается удалить файл '%ls'. Ошибка: %ls";
    table["IDS_FILE_READ_ERROR"] = "Не удается прочитать файл '%ls'. Ошибка: %ls";
    table["IDS_FILE_WRITE_ERROR"] = "Не удается записать файл '%ls'. Ошибка: %ls";
    table["IDS_FILE_CREATION_ERROR"] = "Не удается создать файл '%ls'. Ошибка: %ls";
    table["IDS_FILE_FORMAT_UNKNOWN_FIELD"] = "Ошибка чтения файла '%ls'. Неизвестное поле '%ls'.";
    table["IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION"] =
        "Ошибка чтения файла '%ls'. Неизвестная версия Java '%ls'.";
    table["IDS_FILE_FORMAT_WRONG_STRUCTURE"] = "Ошибка чтения файла '%ls'. Некорректная структура.";
    table["IDS_INSTANCE_IN_FILE_BUT_NOT_IN_CLI"] =
        "Ошибка чтения файла '%ls'. Launcher запущен без параметра --instance, но файл "
        "конфигурации ссылается на него: '%ls'.";
    table["IDS_CANNOT_GET_COMMAND_LINE_ARGS"] =
        "Не удается прочитать командную строку. Ошибка: %ls";
    table["IDS_NONE_OF_2OPTIONS_ARE_SET"] =
        "Не задан ни один из аргументов командной строки %ls и %ls";
    table["IDS_INSTANCE_IN_STOP_MODE"] = "Параметр --instance поддерживается только в режиме start";
    table["IDS_OPTS_MUT_EX_MET"] = "Заданы взаимоисключающие аргументы командной строки %ls и %ls";
    table["IDS_UNSUPPORTED_MODE"] = "Неизвестный режим '%ls'";
    table["IDS_UNEXPECTED_CLI_ARGS"] = "Непредвиденные аргументы командной строки: %ls";
    table["IDS_CANNOT_START_WAITING_FOR_STOP_SIGNAL"] =
        "Не удается начать ожидание сигнала остановки. Ошибка: %ls";
    table["IDS_STOP_SIGNAL_WAIT_FAILED"] = "Не удается дождаться сигнала остановки. Ошибка: %ls";
    table["IDS_CANNOT_OPEN_STOPPING_PROCESS_EVENT"] =
        "Не удается открыть событие остановки процесса. Ошибка: %ls";
    table["IDS_GRACEFUL_SHUTDOWN_TIMED_OUT"] =
        "Штатная остановка е завершилась в отведенное время и будет прервана.";
    table["IDS_APP_DIDNT_SUCCEEDED"] = "Работа не была завершена штатно";
    table["IDS_UNABLE_TO_RESOLVE"] = "Не удается разрешить %ls";
    table["IDS_CANNOT_GUESS_JAVAHOME"] =
        "Невозможно определить JAVA_HOME, значение не передано явно, в Реестре программных "
        "продуктом Orvik и в переменной окружения не удалось найти подходящей версии Java.";
    table["IDS_CANNOT_FIND_CLASS"] = "Не удается найти класс Java %ls";
    table["IDS_CANNOT_LOAD_CLASS_INCORRECT_FORMAT"] =
        "Не удается загрузить класс Java %ls. Некорректный формат класса.";
    table["IDS_CANNOT_LOAD_CLASS"] = "Не удается загрузить класс Java %ls.";
    table["IDS_CANNOT_FIND_JMETHOD"] = "Не удается найти функцию '%ls' в классе '%ls'";
    table["IDS_CANNOT_CALL"] = "Не удается вызвать %ls.";
    table["IDS_UNABLE_LOAD_JVM_DEP"] =
        "Не удается загрузить зависимость библиотеки JVM %ls. Ошибка: %ls";
    table["IDS_UNABLE_LOAD_LIBJVM"] = "Не удается загрузить библиотеку JVM из '%ls'. Ошибка: %ls";
    table["IDS_LIBJVM_NO_CREATE_FN"] = "В библиотеке JVM '%ls' нет функции JNI_CreateJavaVM";
    table["IDS_CANNOT_CREATE_JVM_INSTANCE"] =
        "Не удается создать экземпляр JVM %ls с библиотекой '%ls'. Ошибка %d: %ls";
    table["IDS_CANNOT_CREATE_JVM_INSTANCE_VER"] =
        "Не удается создать экземпляр JVM %d с библиотекой '%ls'. Версия Java недостаточна для "
        "работы приложения.";
    table["IDS_WRONG_FILE_SIGNATURE"] = "Неверная сигнатура %ls в '%ls'";
    table["IDS_DLL_UNKNOWN_BINTYPE"] = "Неизвестный двоичный формат библиотеки '%ls'";
    table["IDS_DLL_NOT_ELF"] = "Библиотека не в формате ELF: '%ls'";
    table["IDS_DLL_BAD_ARCH"] = "'%ls' не является 64-разрядной библиотекой";
    table["IDS_WILDCARDS_ONLY_FOR_FILES"] =
        "Подстановочные знаки допустимы только в именах файлов, но не в путях к каталогам: '%ls'";
    table["IDS_CANNOT_FIND_MODULE_PATH"] =
        "Путь модулей (modulepath) задан, но ни один файл не соответствует маске. Путь поиска: "
        "%ls";
    table["IDS_CANNOT_FIND_CLASS_PATH"] =
        "Путь классов (classpath) задан, но ни один файл не соответствует маске. Путь поиска: %ls";
    table["IDS_CANNOT_CWD"] =
        "Не удается изменить текущую рабочую директорию на '%ls'. Ошибка: %ls";
    table["IDS_FAILED_TO_CHECK_PROCESS_RUNNING"] =
        "Не удается определить, запущен ли процесс PID=%d. Ошибка: %ls";
    table["IDS_CANNOT_ATTACH_NATIVE_THREAD_TO_JVM_THREAD"] =
        "Не удается подключить нативный поток к потоку JVM.";
    table["IDS_CLASS_AND_MODULE_PATHS_ARE_EMPTY"] = "Не задан ни --jclasspath, ни --jmodulepath.";
    table["IDS_YAML_MULTIPLE_DOCS"] =
        "Ошибка разбора launcher.yml: несколько документов в одном файле не поддерживаются. "
        "Ошибка найдена по смещению %d от начала файла.";
    table["IDS_YAML_WRONG_STRUCTURE"] =
        "Ошибка разбора launcher.yml: некорректная структура. Ошибка найдена по смещению %d от "
        "начала файла.";
    table["IDS_YAML_KEY_EXPECTED"] =
        "Ошибка разбора launcher.yml: ожидается ключ. Ошибка найдена по смещению %d от начала "
        "файла.";
    table["IDS_YAML_WRONG_INDENT"] =
        "Ошибка разбора launcher.yml: некорректный отступ. Ошибка найдена по смещению %d от "
        "начала файла.";
    table["IDS_INVENTORY_LIB_ABSENT"] =
        "Не удается загрузить библиотеку Orvik inventory по пути %ls. Ошибка: %ls";
    table["IDS_INVENTORY_LIB_WRONG"] =
        "Не удается загрузить функцию из библиотеки Orvik inventory по пути %ls. Функция: %ls";
    table["IDS_INVENTORY_GRAAL_INIT_FAIL"] =
        "Не удается инициализировать библиотеку Orvik inventory. Ошибка: %d";
    table["IDS_CLI_MODE_DESCR_HELP"] = "Показать справку по указанному режиму.";
    table["IDS_CLI_MODE_DESCR_START"] = "Запустить Java-код в отдельной JVM.";
    table["IDS_CLI_MODE_DESCR_STOP"] =
        "Связаться с другим экземпляром launcher и штатно остановить его.";
    table["IDS_CLI_SWITCH_DESCR_VERSION"] = "показать версию";
    table["IDS_CLI_SWITCH_DESCR_HELP"] = "показать краткую справку";
    table["IDS_CLI_USAGE_USAGE"] = "Использование:";
    table["IDS_CLI_USAGE_COMMON_PARAMS"] = "Общие параметры:";
    table["IDS_CLI_USAGE_MODE"] = "Режим:";
    table["IDS_CLI_USAGE_PARAMS"] = "Параметры:";
    table["IDS_CLISWITCH_DAEMON"] = "Launcher работает в режиме службы";
    table["IDS_CLISWITCH_PROCNAME"] =
        "Метка для поиска текущего процесса launcher внешними средствами, например ps+grep";
    table["IDS_CLISWITCH_INSTANCE"] =
        "Путь к каталогу экземпляра, задающему значения по умолчанию для журналирования и "
        "конфигурации";
    table["IDS_CLISWITCH_WORKDIR"] = "Путь к каталогу, в котором должно работать приложение";
    table["IDS_CLISWITCH_PIDFILE"] = "Путь к файлу для хранения PID процесса launcher";
    table["IDS_CLISWITCH_COUT"] = "Имя файла, в который перенаправляется стандартный поток вывода";
    table["IDS_CLISWITCH_CERR"] = "Имя файла, в который перенаправляется стандартный поток ошибок";
    table["IDS_CLISWITCH_CSTD"] =
        "Имя файла, в который перенаправляются стандартные потоки вывода и ошибок; всегда имеет "
        "приоритет над --cout и --cerr";
    table["IDS_CLISWITCH_CLOG"] = "Имя файла журнала launcher";
    table["IDS_CLISWITCH_SERVICENAME"] = "Имя запускаемой службы";
    table["IDS_CLISWITCH_JHOME"] =
        "Домашний каталог Java (JDK или JRE). Параметр нельзя использовать вместе с --jvmdll";
    table["IDS_CLISWITCH_JVMDLL"] =
        "Путь к библиотеке JVM. Параметр нельзя использовать вместе с --javahome";
    table["IDS_CLISWITCH_CLISWITCH_JVMOPT"] =
        "Дополнительный аргумент JVM; параметр можно указывать несколько раз";
    table["IDS_CLISWITCH_JCLASSPATH"] =
        "Путь классов Java (classpath) с раскрытием подстановочных знаков";
    table["IDS_CLISWITCH_JMODULEPATH"] =
        "Путь модулей Java (module-path) с раскрытием подстановочных знаков";
    table["IDS_CLISWITCH_JIFACECLASS"] =
        "Путь к классу Java, интерфейс которого соответствует контракту";
    table["IDS_CLISWITCH_JIFACEARG"] =
        "Аргумент главной функции класса Java; параметр можно указывать несколько раз";
    table["IDS_CLISWITCH_QUIET"] = "Не выводить сообщение о запуске.";
    table["IDS_CLISWITCH_WAIT"] =
        "С --daemon: вернуть управление, когда служба запущена, или с кодом завершения "
        "launcher, который не смог её запустить";
    table["IDS_SERVICE_STATUS_RUNNING"] = "Служба работает";
    table["IDS_OPTION_NEEDS_OTHER"] = "%ls можно задать только вместе с %ls";
    table["IDS_CLISWITCH_SIGTERM"] =
        "Что делает SIGTERM от другого процесса: jvm (по умолчанию) оставляет его JVM, stop "
        "делает его штатной остановкой, fast - быстрой";
    table["IDS_INVALID_SIGTERM"] = "Некорректное значение %ls '%ls': ожидается jvm, stop или fast";
    table["IDS_FILE_FORMAT_UNKNOWN_SIGTERM"] =
        "Ошибка чтения файла '%ls'. Неизвестное значение sigterm '%ls': ожидается jvm, stop или "
        "fast.";
    table["IDS_CLISWITCH_PID"] =
        "PID другого процесса launcher, который нужно остановить. Параметр нельзя использовать "
        "вместе с --pidfile";
    table["IDS_CLISWITCH_TIMEOUT"] =
        "Время ожидания остановки другого процесса launcher в миллисекундах. По истечении этого "
        "времени процесс будет принудительно завершен";
    table["IDS_CLISWITCH_FAST"] = "Остановить другой launcher в быстром режиме";
    table["IDS_LAUNCHER_NOT_FOUND_NOTHING_STOPPED"] =
        "Launcher с PID=%d не найден, ничего не остановлено";
    table["IDS_LAUNCHER_STOPPED_GRACEFULLY"] = "Launcher с PID=%d штатно остановлен";
    table["IDS_LAUNCHER_KILLED"] = "Launcher с PID=%d принудительно остановлен";
    table["IDS_LAUNCHER_KILL_ERROR"] =
        "Launcher с PID=%d продолжает работать, несмотря на попытку принудительного завершения";
    // Appended right after the stop report, hence the leading blank; the parentheses
    // spare the sentence the comma Russian would otherwise need before the clause.
    table["IDS_PIDFILE_WAS_REMOVED"] = " (его PID-файл удален)";
    table["IDS_PIDFILE_FAILED_TO_REMOVE"] = " (но его PID-файл не удален)";
    table["IDS_LAUNCHER_SIGNAL_PERM_ERROR"] =
        "Launcher не имеет прав на остановку процесса с PID=%d";
    table["IDS_CANNOT_FIND_INI_IN_SERVICE"] = "Не удается открыть файл конфигурации службы";
    table["IDS_CANNOT_FIND_JVMLIB"] = "Не удается найти библиотеку JVM";
    table["IDS_JAVA_EXIT_ABNORMALLY"] = "JVM завершилась с ненулевым кодом возврата";
    table["IDS_JAVA_HALTED"] = "Работа JVM прервана";
    table["IDS_PIDFILE_OF_ANOTHER_IS_DIRECTORY"] = "PID-файл другого экземпляра является каталогом";
    table["IDS_PIDFILE_OF_ANOTHER_WAS_REMOVED"] = "PID-файл другого экземпляра удален";
    table["IDS_ANOTHER_ASKED_TO_STOP"] =
        "Другому экземпляру launcher отправлен запрос на остановку";
    table["IDS_NORMAL_EXIT"] = "Штатное завершение";
    table["IDS_JAVA_HOME_FROM_SYSENV"] = "Используется значение JAVA_HOME из переменных окружения";
    table["IDS_SERVICE_CONFIG_NOT_FOUND"] = "Файл конфигурации службы не найден";
    table["IDS_CWD_CHANGED_TO"] = "Текущая рабочая директория изменена на '%ls'";
    table["IDS_JVN_LIB"] = "Библиотека JVM используемая для запуска";
}
