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
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string calls_log()
{
    return read("/run/testbed/calls.log");
}

std::string sh(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    char buffer[4096];
    for (size_t n; pipe != nullptr && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, n);
    if (pipe != nullptr)
        pclose(pipe);
    return output;
}

} // namespace testbed
