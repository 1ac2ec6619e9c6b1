// Building a command from its printf-style text, word by word.
#include "command.h"

#include <cstdio>

namespace host {

namespace {

bool is_shell_word(const std::string& word)
{
    return word == "&" || word == "&>/dev/null" || word == ">/dev/null" || word == "2>/dev/null";
}

// Formats one conversion (from '%' to its conversion letter).
std::string format_conversion(std::string directive, const Command::Value& value)
{
    char conversion = directive.back();
    directive.pop_back();
    while (!directive.empty() && (directive.back() == 'l' || directive.back() == 'h' || directive.back() == 'z'))
        directive.pop_back();
    char buffer[512];
    if (conversion == 's') {
        std::string text = value.kind == Command::Value::Text     ? value.text
                           : value.kind == Command::Value::Signed ? std::to_string(value.number)
                                                                  : std::to_string(value.unsignedNumber);
        std::string result(static_cast<size_t>(snprintf(nullptr, 0, (directive + "s").c_str(), text.c_str())), '\0');
        snprintf(&result[0], result.size() + 1, (directive + "s").c_str(), text.c_str());
        return result;
    }
    if (conversion == 'd' || conversion == 'i') {
        long long number =
            value.kind == Command::Value::Unsigned ? static_cast<long long>(value.unsignedNumber) : value.number;
        if (value.narrow)
            number = static_cast<int>(number);
        snprintf(buffer, sizeof buffer, (directive + "lld").c_str(), number);
    } else {
        unsigned long long number =
            value.kind == Command::Value::Signed ? static_cast<unsigned long long>(value.number) : value.unsignedNumber;
        if (value.narrow)
            number = static_cast<unsigned int>(number);
        snprintf(buffer, sizeof buffer, (directive + "ll" + conversion).c_str(), number);
    }
    return buffer;
}

std::string format_word(const std::string& word, const std::vector<Command::Value>& values, size_t& next)
{
    static const Command::Value kMissing(static_cast<const char*>(""));
    std::string result;
    for (size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '%') {
            result += word[i];
            continue;
        }
        if (i + 1 < word.size() && word[i + 1] == '%') {
            result += '%';
            ++i;
            continue;
        }
        size_t end = word.find_first_of("diuxXos", i + 1);
        if (end == std::string::npos) {
            result += word.substr(i);
            break;
        }
        const Command::Value& value = next < values.size() ? values[next] : kMissing;
        ++next;
        result += format_conversion(word.substr(i, end - i + 1), value);
        i = end;
    }
    return result;
}

std::vector<std::string> split_words(const char* text)
{
    std::vector<std::string> words;
    std::string word;
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p == ' ' || *p == '\t') {
            if (!word.empty())
                words.push_back(word);
            word.clear();
        } else {
            word += *p;
        }
    }
    if (!word.empty())
        words.push_back(word);
    return words;
}

} // namespace

Command Command::format(const char* text, const std::vector<Value>& values)
{
    Command command;
    if (text == nullptr)
        return command;
    size_t next = 0;
    for (const std::string& word : split_words(text)) {
        std::string formatted = format_word(word, values, next);
        // A value that formats to nothing leaves no argument, as with a shell.
        if (formatted.empty())
            continue;
        command.words_.push_back(formatted);
        if (!is_shell_word(word)) {
            command.arguments_.push_back(formatted);
            continue;
        }
        if (word == "&")
            command.background_ = true;
        if (word == "&>/dev/null" || word == ">/dev/null")
            command.discardOutput_ = true;
        if (word == "&>/dev/null" || word == "2>/dev/null")
            command.discardErrors_ = true;
    }
    return command;
}

std::string Command::text() const
{
    std::string text;
    for (const std::string& word : words_) {
        if (!text.empty())
            text += ' ';
        text += word;
    }
    return text;
}

} // namespace host
