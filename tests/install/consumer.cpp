// A program an application team would write against the installed library.
#include <mxlinnet.h>

#include <cstdio>

int main()
{
    NetworkAdapter adapter;
    _Version version{};
    if (adapter.GetLibVersion(&version) != 0)
        return 1;
    const char* text = adapter.GetErrStr(53);
    printf("%s %u.%u %s\n", version.name, version.version >> 16, version.version & 0xFFFF, text ? text : "");
    return 0;
}
