#include "hostile_values.h"

#include <cstdio>

namespace hostile {

namespace {

std::string canary(int number)
{
    return std::string(kCanaryDir) + "/" + kCanaryPrefix + std::to_string(number);
}

std::vector<Value> make_values()
{
    std::vector<Value> list;
    auto shell = [&](const std::string& before, const std::string& after) {
        int number = static_cast<int>(list.size());
        list.push_back({"shell", before + canary(number) + after});
    };
    // Shell syntax: each would create its canary when a shell read it.
    shell("eth0; touch ", "");
    shell("eth0 | touch ", "");
    shell("eth0 && touch ", "");
    shell("eth0 & touch ", "");
    shell("eth0 || touch ", "");
    shell("$(touch ", ")");
    shell("eth0$(touch ", ")");
    shell("`touch ", "`");
    shell("eth0 > ", "");
    shell("eth0>", "");
    shell("eth0\ntouch ", "");
    shell("eth0' ; touch ", " ; '");
    shell("eth0\" ; touch ", " ; \"");
    shell("eth0;touch${IFS}", "");
    shell("192.0.2.1; touch ", "");
    shell("192.0.2.1`touch ", "`");
    shell("192.0.2.1$(touch ", ")");
    shell("192.0.2.1\ntouch ", "");
    shell("eth0\r\ntouch ", "");
    shell("-o", "");
    // Relative canaries, in the call's working directory; no blank or '/'.
    list.push_back({"shell", "x;>canary-rel1"});
    list.push_back({"shell", "$(>canary-rel2)"});
    list.push_back({"shell", "`>canary-rel3`"});
    // Lines of a configuration file or of /etc/resolv.conf.
    list.push_back({"shell", "192.0.2.1\nnameserver 192.0.2.66"});
    list.push_back({"shell", "eth0\nGATEWAY=192.0.2.66"});
    // Paths: out of the configuration directory, or the whole of one.
    for (const char* path : {"../../../../etc/hostile-out", "/etc/hostile-out", "..", ".", "/", "../",
                             "ifcfg-../../../hostile-out", "eth0/../../../../etc/hostile-out",
                             "../network-scripts/ifcfg-eth0", "../../issue", "eth0:1/../../../../../etc/hostile-out"})
        list.push_back({"path", path});
    // Lengths: one past the kernel's limit, a name field, and a page.
    for (size_t length : {16u, 64u, 127u, 128u, 256u, 4096u})
        list.push_back({"length", std::string(length, 'e')});
    list.push_back({"length", "eth0" + std::string(4092, '.')});
    list.push_back({"empty", ""});
    list.push_back({"bytes", "\xff\xfe\x80"});
    list.push_back({"bytes", "eth0\xc0\xaf..\xc0\xaf..\xc0\xafhostile-out"});
    list.push_back({"bytes", "\x1b[2J\x7f\x01"});
    list.push_back({"address", "1:2:3:4:5:6:7:8:9"});
    list.push_back({"address", "192.0.2.1 192.0.2.2"});
    list.push_back({"format", "%s%s%s%s%n%n%n"});
    list.push_back({"format", "eth0%x%x%x%x%p"});
    return list;
}

} // namespace

const std::vector<Value>& values()
{
    static const std::vector<Value> list = make_values();
    return list;
}

std::string shown(const std::string& text)
{
    std::string result;
    for (unsigned char c : text.substr(0, 64)) {
        char escaped[8];
        if (c >= 0x20 && c < 0x7f) {
            result += static_cast<char>(c);
        } else {
            snprintf(escaped, sizeof escaped, "\\x%02x", c);
            result += escaped;
        }
    }
    if (text.size() > 64)
        result += "...(" + std::to_string(text.size()) + " bytes)";
    return '"' + result + '"';
}

} // namespace hostile
