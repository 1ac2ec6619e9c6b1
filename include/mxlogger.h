// Logging interface of the MX product family: one static call that every
// library of the family uses to report its errors.
#ifndef MXLOGGER_H
#define MXLOGGER_H

#define MXLOGGER_EXPORT __attribute__((visibility("default")))

// Which library of the family is speaking.
enum ModName {
    MX_MODULE_LINNET = 1,
};

// How serious the message is.
enum LogType {
    MX_LOG_INFO = 1,
    MX_LOG_ERROR = 2,
};

class MXLOGGER_EXPORT MxLogger {
public:
    // Formats the message printf-style and sends it to the system log.
    static void MarlixLogMsg(ModName module, LogType type, char const* format, ...)
        __attribute__((format(printf, 3, 4)));
};

#endif
