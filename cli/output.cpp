#include "output.h"

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace cli {

bool showLibraryOutput = false;

LibraryOutput::LibraryOutput(bool show)
{
    if (show)
        return;
    fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    int quiet = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && quiet >= 0)
        dup2(quiet, STDOUT_FILENO);
    if (quiet >= 0)
        close(quiet);
}

LibraryOutput::~LibraryOutput()
{
    if (saved_ < 0)
        return;
    fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
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

int Output::show(const nlohmann::json& document, const std::function<void(std::ostream&)>& human) const
{
    if (json)
        std::cout << document.dump(2) << '\n';
    else
        human(std::cout);
    return 0;
}

int Output::failure(int status) const
{
    if (json)
        std::cout << nlohmann::json{{"status", status}, {"error", status_text(status)}}.dump(2) << '\n';
    else
        std::cerr << "linnet: " << status_text(status) << " (status " << status << ")\n";
    return exit_status_for(status);
}

} // namespace cli
