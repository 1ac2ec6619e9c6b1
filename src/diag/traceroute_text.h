// Reading traceroute's output into hop records.
#ifndef LINNET_DIAG_TRACEROUTE_TEXT_H
#define LINNET_DIAG_TRACEROUTE_TEXT_H

#include "mxlinnet.h"

#include <string>

namespace diag {

// Writes a record for every answered hop of traceroute's output from the
// start of area->data, adding 25 to area->dataLength for each, and marks the
// last one written as the trace's last hop. Never more than fit the data
// area. Returns the number of records written.
int read_traceroute_output(const std::string& output, SharedMem* area);

} // namespace diag

#endif
