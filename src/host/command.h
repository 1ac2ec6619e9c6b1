// A command of the distribution's tools, built from text in printf style. No
// shell ever reads a command: the command text is split into words first and
// each word is formatted on its own, so a value from the caller always stays
// one argument. command_runner.h runs it.
#ifndef LINNET_HOST_COMMAND_H
#define LINNET_HOST_COMMAND_H

#include <string>
#include <vector>

namespace host {

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

} // namespace host

#endif
