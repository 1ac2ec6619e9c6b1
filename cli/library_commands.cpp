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
    return Fields(output.json)
        .field("name", "%s ", version.name)
        .field("major", "%u.", version.version >> 16)
        .field("minor", "%u\n", version.version & 0xFFFF)
        .print();
}

int show_error(NetworkAdapter& adapter, const Output& output, int code)
{
    const char* text = adapter.GetErrStr(code);
    Fields(output.json)
        .field("status", "%d: ", code)
        .field_as("text", text ? nlohmann::json(text) : nlohmann::json(),
                  std::string(text ? text : "(no text for this status)") + "\n")
        .print();
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
