#include "platform/LocalizationResource_Ru.h"

std::wstring LocalizationResource_Ru::getLanguageCode() const {
    return L"ru";
}

void LocalizationResource_Ru::fillMessages(MessageTable& table) const {
    table["IDS_STARTUP_HEADER"] = "%ls запущен (launcher %ls, x86-64), PID=%d";
    table["IDS_STARTED_HEADER"] = "Нажмите Ctrl+C для завершения.";
    table["IDS_STOPPED_HEADER"] = "Launcher остановлен.";
    table["IDS_UNABLE_TO_CONVERT_PATH_TO_ABS"] =
        "Не удается конвертировать путь в абсолютный '%ls'. Error: %ls";
    table["IDS_OPTION_DUPLICATION_PROHIBITED"] = "%ls не может повторяться";
    table["IDS_GRACEFUL_SHUTDOWN_TIMED_OUT"] =
        "Штатная остановка е завершилась в отведенное время и будет прервана.";
    table["IDS_CANNOT_GUESS_JAVAHOME"] =
        "Невозможно определить JAVA_HOME, значение не передано явно, в Реестре программных "
        "продуктом Orvik и в переменной окружения не удалось найти подходящей версии Java.";
    table["IDS_YAML_WRONG_INDENT"] =
        "Ошибка разбора launcher.yml: некорректный отступ. Ошибка найдена по смещению %d от "
        "начала файла.";
    table["IDS_CWD_CHANGED_TO"] = "Текущая рабочая директория изменена на '%ls'";
    table["IDS_JVN_LIB"] = "Библиотека JVM используемая для запуска";
}
