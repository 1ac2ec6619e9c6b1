#include "mxlogger.h"

#include <cstdarg>
#include <cstdio>
#include <syslog.h>

namespace {

// Every message goes to the daemon facility under the ident "mxlinnet", so an
// administrator finds it with `journalctl -t mxlinnet` or in /var/log/messages.
constexpr const char* kIdent = "mxlinnet";
constexpr int kFacility = LOG_DAEMON;

int priority_for(LogType type)
{
    return type == MX_LOG_ERROR ? LOG_ERR : LOG_INFO;
}

const char* module_name(ModName module)
{
    return module == MX_MODULE_LINNET ? "linnet" : "mx";
}

} // namespace

void MxLogger::MarlixLogMsg(ModName module, LogType type, char const* format, ...)
{
    if (format == nullptr)
        return;
    char message[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    // LOG_NDELAY is left out on purpose: syslog connects lazily and reconnects
    // by itself when the log socket appears after the first call.
    openlog(kIdent, LOG_PID, kFacility);
    syslog(kFacility | priority_for(type), "%s: %s", module_name(module), message);
    closelog();
}
