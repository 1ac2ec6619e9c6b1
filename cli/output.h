// How linnet prints: human-readable text by default, one JSON document with
// --json. The exit status is the library's status.
#ifndef LINNET_CLI_OUTPUT_H
#define LINNET_CLI_OUTPUT_H

#include "mxlinnet.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>

namespace cli {

class Output {
public:
    explicit Output(NetworkAdapter& adapter) : adapter_(adapter) {}

    bool json = false;

    // Prints a result: `document` with --json, else what `human` writes.
    int show(const nlohmann::json& document, const std::function<void(std::ostream&)>& human) const;
    // Prints the status text of a failed call and returns the exit status.
    int failure(int status) const;
    // The status's text, or a plain description when the table has none.
    std::string status_text(int status) const;

private:
    NetworkAdapter& adapter_;
};

// Keeps the library's debugging lines on standard output out of linnet's own
// output while it lives (unless `show` is set): they would break --json.
class LibraryOutput {
public:
    explicit LibraryOutput(bool show);
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

private:
    int saved_ = -1;
};

// Whether the library's debugging lines are shown (--verbose).
extern bool showLibraryOutput;

// Exit statuses are 0..255; a status outside that range exits with 1 and the
// real status is in the printed message.
int exit_status_for(int status);

} // namespace cli

#endif
