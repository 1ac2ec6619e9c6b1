// The pieces of the scenario runner: a call's arguments and the library's
// entry points by name.
#ifndef LINNET_TESTS_SYSTEM_SCENARIO_H
#define LINNET_TESTS_SYSTEM_SCENARIO_H

#include "mxlinnet.h"
#include "testbed.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace scenario {

// One `call` line: its arguments and where the call writes what it returned.
struct Call {
    std::vector<std::string> args;
    std::ostream& out;
    NetworkAdapter& adapter;
    size_t next = 0;                    // the argument `arg` decodes next
    std::deque<std::string> buffers;    // writable copies handed to char* parameters
    std::deque<_NetworkDevice> devices; // records handed to _NetworkDevice* parameters

    const std::string& s(size_t i) const { return args.at(i); }
    long n(size_t i) const { return std::stol(args.at(i), nullptr, 0); }
    bool has(size_t i) const { return args.size() > i; }
    // A writable copy of argument i; null for "-" or no argument.
    char* c(size_t i)
    {
        if (!has(i) || args[i] == "-")
            return nullptr;
        buffers.push_back(args[i]);
        buffers.back().resize(std::max<size_t>(buffers.back().size() + 1, 256), '\0');
        return &buffers.back()[0];
    }

    // The next argument as a parameter of type T: a number (0 when there is
    // none), text, a device record (NAME MAC, null for "-"), else null.
    template <class T>
    T arg()
    {
        const size_t i = next++;
        if constexpr (std::is_integral_v<T>) {
            return static_cast<T>(has(i) ? n(i) : 0);
        } else if constexpr (std::is_same_v<T, std::string>) {
            return s(i);
        } else if constexpr (std::is_same_v<T, _NetworkDevice*>) {
            if (++next; !has(i) || s(i) == "-")
                return nullptr;
            _NetworkDevice& dev = devices.emplace_back();
            strncpy(dev.ifName, s(i).c_str(), sizeof dev.ifName - 1);
            strncpy(dev.macAddrStr, has(i + 1) ? s(i + 1).c_str() : "", sizeof dev.macAddrStr - 1);
            return &dev;
        } else if constexpr (sizeof(std::remove_pointer_t<T>) == 1) {
            return reinterpret_cast<T>(c(i));
        } else {
            return nullptr;
        }
    }
};

using EntryPoint = std::function<int(Call&)>;
const std::map<std::string, EntryPoint>& entry_points();

using testbed::read;
using testbed::sh;

} // namespace scenario

#endif
