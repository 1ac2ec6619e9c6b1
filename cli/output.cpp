#include "output.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace cli {

bool showLibraryOutput = false;

int quietly(const std::function<int()>& call)
{
    if (showLibraryOutput)
        return call();
    fflush(stdout);
    // Standard output comes back however the call ends.
    struct Restore {
        // Close-on-exec: a daemon a call starts (a DHCP client) must not keep
        // linnet's standard output open.
        int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        ~Restore()
        {
            if (saved < 0)
                return;
            fflush(stdout);
            dup2(saved, STDOUT_FILENO);
            close(saved);
        }
    } restore;
    int quiet = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (restore.saved >= 0 && quiet >= 0)
        dup2(quiet, STDOUT_FILENO);
    if (quiet >= 0)
        close(quiet);
    return call();
}

int exit_status_for(int status)
{
    return status >= 0 && status <= 255 ? status : 1;
}

std::string Output::status_text(int status) const
{
    const char* text = adapter_.GetErrStr(status);
    return text != nullptr ? text : "status " + std::to_string(status) + " has no text";
}

int Output::failure(int status) const
{
    if (json)
        std::cout << nlohmann::json{{"status", status}, {"error", status_text(status)}}.dump(2) << '\n';
    else
        std::cerr << "linnet: " << status_text(status) << " (status " << status << ")\n";
    return exit_status_for(status);
}

std::string format(const char* pattern, ...)
{
    va_list arguments, again;
    va_start(arguments, pattern);
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::max(vsnprintf(nullptr, 0, pattern, arguments), 0)), '\0');
    vsnprintf(&text[0], text.size() + 1, pattern, again);
    va_end(again);
    va_end(arguments);
    return text;
}

Fields& Fields::field_as(const char* key, const nlohmann::json& value, const std::string& text)
{
    if (!json_)
        text_ += text;
    else if (key != nullptr)
        (*object_)[key] = value;
    return *this;
}

Fields& Fields::list(const char* key)
{
    list_ = key != nullptr ? &document_[key] : &document_;
    *list_ = nlohmann::json::array();
    return *this;
}

Fields& Fields::item()
{
    list_->push_back(nlohmann::json::object());
    object_ = &list_->back();
    return *this;
}

int Fields::print(int indent) const
{
    if (json_)
        std::cout << document_.dump(indent) << '\n';
    else
        std::cout << text_;
    return 0;
}

} // namespace cli
