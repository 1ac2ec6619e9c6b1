// Running the distribution's tools. No shell ever reads a command: the command
// text is split into words first and each word is formatted on its own, so a
// value from the caller always stays one argument.
#ifndef LINNET_HOST_COMMAND_H
#define LINNET_HOST_COMMAND_H

#include <string>
#include <vector>

namespace host {

// Exit status a shell gives for a program it cannot find, as a wait status.
constexpr int kProgramNotFound = 127 << 8;

class Command {
public:
    // One value for a conversion of the command text.
    struct Value {
        enum Kind { Signed, Unsigned, Text } kind;
        long long number;
        unsigned long long unsignedNumber;
        std::string text;
        bool narrow = false; // an int-sized value, printed as printf prints an int
        Value(int v) : kind(Signed), number(v), unsignedNumber(0), narrow(true) {}
        Value(long v) : kind(Signed), number(v), unsignedNumber(0) {}
        Value(long long v) : kind(Signed), number(v), unsignedNumber(0) {}
        Value(unsigned v) : kind(Unsigned), number(0), unsignedNumber(v), narrow(true) {}
        Value(unsigned short v) : kind(Unsigned), number(0), unsignedNumber(v) {}
        Value(unsigned char v) : kind(Unsigned), number(0), unsignedNumber(v) {}
        Value(unsigned long v) : kind(Unsigned), number(0), unsignedNumber(v) {}
        Value(unsigned long long v) : kind(Unsigned), number(0), unsignedNumber(v) {}
        Value(const char* v) : kind(Text), number(0), unsignedNumber(0), text(v ? v : "") {}
        Value(const std::string& v) : kind(Text), number(0), unsignedNumber(0), text(v) {}
    };

    // Builds a command from its text in printf style, e.g.
    // Command::format("/sbin/ip link set dev %s up", name). A final word "&"
    // runs the program in the background; the words "&>/dev/null" and
    // ">/dev/null" discard its output ("2>/dev/null" its errors). Conversions:
    // d i u x X o s and %%.
    static Command format(const char* text, const std::vector<Value>& values);
    template <class... Values>
    static Command format(const char* text, const Values&... values)
    {
        return format(text, std::vector<Value>{Value(values)...});
    }

    // The command as the system writes it in its messages and logs.
    std::string text() const;
    const std::vector<std::string>& arguments() const { return arguments_; }
    bool background() const { return background_; }
    bool discardsOutput() const { return discardOutput_; }
    bool discardsErrors() const { return discardErrors_; }

private:
    std::vector<std::string> words_;
    std::vector<std::string> arguments_;
    bool background_ = false;
    bool discardOutput_ = false;
    bool discardErrors_ = false;
};

// Runs the command and waits, as system(3) would: the raw wait status (0 on
// success; kProgramNotFound when the program is missing). While SIGCHLD is
// ignored the child cannot be collected: the result is then -1 with errno
// ECHILD. On success errno is left as it was. A background command returns at
// once with the status of starting it and leaves no child behind.
int run(const Command& command);

// Runs the command with its standard output read into `output`, as
// popen(3)/pclose(3) would. Returns 0 once the command was started (a missing
// program gives empty output, as with a shell), -1 when it could not be.
// `waitStatus`, when given, receives the command's wait status.
int capture(const Command& command, std::string& output, int* waitStatus = nullptr);

// Starts a child that waits `delaySeconds` and then runs the command (a
// command ending in "&" is left running on its own, any other is waited for
// by the child). The caller does not wait: it must have SIGCHLD ignored, or
// collect the child itself. The program gets SIGCHLD at its default. Returns
// the child's pid, or -1.
int start_after_delay(const Command& command, unsigned delaySeconds);

// Runs the command with its standard output written to the open descriptor.
// Returns the wait status as run() does.
int run_into(const Command& command, int outputFd);

} // namespace host

#endif
