#include "written_files.h"

#include "host_watch.h"
#include "hostile_values.h"
#include "testbed.h"

#include <regex>
#include <sstream>

namespace hostile {

namespace {

bool is_blank_or_comment(const std::string& line)
{
    return line.find_first_not_of(" \t") == std::string::npos || line[0] == '#';
}

bool good_line(const std::string& path, const std::string& line)
{
    static const std::regex setting("[A-Za-z_][A-Za-z0-9_]*=.*");
    static const std::regex route("default \\S+ - \\S+ ?");
    static const std::regex resolver("(nameserver \\S+|(search|domain|options|sortlist)( \\S+)+)");
    if (is_blank_or_comment(line))
        return true;
    if (path == "/etc/resolv.conf")
        return std::regex_match(line, resolver);
    if (path == config_dir() + "routes")
        return std::regex_match(line, route);
    return std::regex_match(line, setting);
}

bool is_interface_file(const std::string& path)
{
    return path.compare(0, config_dir().size() + 6, config_dir() + "ifcfg-") == 0;
}

} // namespace

std::vector<std::string> written_file_problems(const std::string& path)
{
    std::vector<std::string> problems;
    const std::string name = path.substr(path.rfind('/') + 1);
    if (name.find_first_of("\n\r\t ") != std::string::npos)
        problems.push_back("file name with a blank or line break: " + shown(path));
    std::istringstream lines(testbed::read(path));
    for (std::string line; std::getline(lines, line);) {
        if (!good_line(path, line))
            problems.push_back("line of no key in " + shown(path) + ": " + shown(line));
    }
    if (is_interface_file(path) && sourcing_runs_something(path))
        problems.push_back("sourcing " + shown(path) + " runs a command: " + shown(testbed::read(path)));
    return problems;
}

} // namespace hostile
