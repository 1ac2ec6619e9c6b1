#include "testbed.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace testbed {

std::string family()
{
    const char* value = getenv("LINNET_TESTBED");
    return value != nullptr ? value : "";
}

std::string read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

void write(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

void remove(const std::string& path)
{
    unlink(path.c_str());
}

std::string calls_log()
{
    return read("/run/testbed/calls.log");
}

std::string system_log()
{
    return read("/run/testbed/syslog");
}

std::string sh(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        output.append(buffer, n);
    pclose(pipe);
    return output;
}

FileGuard::FileGuard(std::initializer_list<std::string> paths)
{
    for (const std::string& path : paths)
        saved_[path] = {exists(path), read(path)};
}

FileGuard::~FileGuard()
{
    for (const auto& [path, saved] : saved_) {
        if (saved.first)
            write(path, saved.second);
        else
            remove(path);
    }
}

} // namespace testbed
