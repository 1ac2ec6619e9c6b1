// The pieces of the scenario runner: the library's entry points by name, and
// the text form of the records they hand back.
#ifndef LINNET_TESTS_SYSTEM_SCENARIO_H
#define LINNET_TESTS_SYSTEM_SCENARIO_H

#include "mxlinnet.h"
#include "testbed.h"

#include <deque>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace scenario {

// One `call` line: its arguments and where the call writes what it returned.
struct Call {
    std::vector<std::string> args;
    std::ostream& out;
    NetworkAdapter& adapter;
    std::deque<std::string> buffers; // mutable copies handed to char* parameters

    const std::string& s(size_t i) const { return args.at(i); }
    long n(size_t i) const { return std::stol(args.at(i), nullptr, 0); }
    bool has(size_t i) const { return args.size() > i; }
    // A writable copy of argument i, or null for "-".
    char* c(size_t i);
};

using EntryPoint = std::function<int(Call&)>;
const std::map<std::string, EntryPoint>& entry_points();

// Text of the records, one line per record.
void dump_addresses(std::ostream& out, const unsigned char* entries, unsigned length);
void dump_devices(std::ostream& out, const unsigned char* entries, unsigned length,
                  const std::vector<std::string>& only);
void dump_stats(std::ostream& out, const _InterfaceStats& stats);
void dump_connections(std::ostream& out, const unsigned char* entries, unsigned length);
void dump_shared_mem(std::ostream& out, const SharedMem& shm);
std::string dotted(const unsigned char* bytes);

using testbed::read;
using testbed::sh;

} // namespace scenario

#endif
