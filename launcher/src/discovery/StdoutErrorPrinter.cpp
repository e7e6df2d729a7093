#include "discovery/StdoutErrorPrinter.h"

#include "platform/IConsole.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

StdoutErrorPrinter::StdoutErrorPrinter(IConsole& console) : console_(console) {}

void StdoutErrorPrinter::onError(const char* text) {
    if (text == nullptr) {
        return;
    }
    // IDS_INVENTORY_CALL_ERROR has no text in either catalogue, so the line
    // shows the id itself; the error text goes to the log (see Inventory).
    console_.writeLine(formatMessage("IDS_INVENTORY_CALL_ERROR", toWide(text)));
}
