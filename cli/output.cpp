#include "output.h"

#include <iostream>

namespace cli {

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
