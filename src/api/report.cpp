#include "report.h"

#include "mxlogger.h"
#include "status/status.h"

#include <cstring>

// Runs inside an operation, whose lock keeps the message buffer, shared by
// the object's callers, to one writer.
int linnet_report_failure(NetworkAdapter& adapter, int code)
{
    const char* text = linnet_status_text(code);
    size_t length = text != nullptr ? strnlen(text, sizeof adapter.errMsg - 1) : 0;
    if (length > 0)
        memcpy(adapter.errMsg, text, length);
    adapter.errMsg[length] = '\0';
    // The message is the format itself, as every caller of the family does; the
    // table's texts hold no conversion.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    MxLogger::MarlixLogMsg(MX_MODULE_LINNET, MX_LOG_ERROR, adapter.errMsg);
#pragma GCC diagnostic pop
    return code;
}
