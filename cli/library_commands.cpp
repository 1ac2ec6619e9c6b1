// linnet version, linnet error CODE.
#include "commands.h"

namespace cli {

namespace {

int show_version(NetworkAdapter& adapter, const Output& output)
{
    _Version version{};
    int status = adapter.GetLibVersion(&version);
    if (status != 0)
        return output.failure(status);
    unsigned major = version.version >> 16;
    unsigned minor = version.version & 0xFFFF;
    nlohmann::json document = {{"name", version.name}, {"major", major}, {"minor", minor}};
    return output.show(document,
                       [&](std::ostream& out) { out << version.name << ' ' << major << '.' << minor << '\n'; });
}

int show_error(NetworkAdapter& adapter, const Output& output, int code)
{
    const char* text = adapter.GetErrStr(code);
    nlohmann::json document = {{"status", code}, {"text", text ? nlohmann::json(text) : nlohmann::json()}};
    output.show(document,
                [&](std::ostream& out) { out << code << ": " << (text ? text : "(no text for this status)") << '\n'; });
    return text != nullptr ? 0 : 1;
}

} // namespace

void add_library_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    CLI::App* version = app.add_subcommand("version", "Show the library's name and version");
    version->callback([&] { exitStatus = show_version(adapter, output); });

    static int code = 0;
    CLI::App* error = app.add_subcommand("error", "Show the text of a status code");
    error->add_option("CODE", code, "The status code")->required();
    error->callback([&] { exitStatus = show_error(adapter, output, code); });
}

} // namespace cli
