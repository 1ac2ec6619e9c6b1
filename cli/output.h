// How linnet prints: human-readable text by default, one JSON document with
// --json. The exit status is the library's status.
#ifndef LINNET_CLI_OUTPUT_H
#define LINNET_CLI_OUTPUT_H

#include "mxlinnet.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>

namespace cli {

class Output {
public:
    explicit Output(NetworkAdapter& adapter) : adapter_(adapter) {}

    bool json = false;

    // Prints the status text of a failed call and returns the exit status.
    int failure(int status) const;
    // 0 for a call that succeeded, else as failure().
    int result(int status) const { return status != 0 ? failure(status) : 0; }
    // The status's text, or a plain description when the table has none.
    std::string status_text(int status) const;

private:
    NetworkAdapter& adapter_;
};

// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

// One result, each field named once (as iproute2's print_*(PRINT_ANY, ...)
// does): with --json the field's value under its key, else its text. A list
// is a JSON array of objects, one per item.
class Fields {
public:
    explicit Fields(bool json) : json_(json) {}
    Fields(const Fields&) = delete;
    Fields& operator=(const Fields&) = delete;

    // The same value both ways: the text is `value` through printf `pattern`.
    template <class T>
    Fields& field(const char* key, const char* pattern, T value)
    {
        if constexpr (std::is_same_v<T, std::string>)
            return field_as(key, value, json_ ? "" : format(pattern, value.c_str()));
        else
            return field_as(key, value, json_ ? "" : format(pattern, value));
    }
    // `value` under `key` in JSON, `text` in text.
    Fields& field_as(const char* key, const nlohmann::json& value, const std::string& text);
    Fields& json(const char* key, const nlohmann::json& value) { return field_as(key, value, ""); }
    Fields& text(const std::string& text) { return field_as(nullptr, nullptr, text); }

    // Starts a list: the document itself, or the array under `key`.
    Fields& list(const char* key = nullptr);
    // Starts the list's next item.
    Fields& item();

    // Prints the document (indented by `indent`; -1: on one line) or the
    // text; returns 0.
    int print(int indent = 2) const;

private:
    bool json_;
    nlohmann::json document_;
    nlohmann::json* list_ = nullptr;
    nlohmann::json* object_ = &document_;
    std::string text_;
};

// Whether the library's debugging lines are shown (--verbose).
extern bool showLibraryOutput;

// What `call` returns, with the library's debugging lines on standard output
// kept out of linnet's own (they would break --json) unless --verbose.
int quietly(const std::function<int()>& call);

// Exit statuses are 0..255; a status outside that range exits with 1 and the
// real status is in the printed message.
int exit_status_for(int status);

} // namespace cli

#endif
