#include "distro.h"

#include "host/command_runner.h"
#include "host/config_file.h"
#include "api/guard.h"
#include "status/status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// /etc/issue is judged on its first 80 bytes.
constexpr size_t kIssueBytes = 80;
// "runlevel" output is read in lines of at most 79 characters.
constexpr size_t kRunLevelLineChars = 79;

struct FamilyMark {
    const char* text;
    int distro;
};

// Tried in this order; the first found decides.
constexpr FamilyMark kFamilyMarks[] = {
    {"Red Hat", kDistroRedHat},
    {"SUSE", kDistroSuse},
    {"XenServer", kDistroXenServer},
};

std::vector<std::string> pieces_as_read(const std::string& output, size_t maxChars)
{
    std::vector<std::string> pieces;
    for (const std::string& line : host::split_lines(output, host::FinalRead::Dropped)) {
        std::string rest = line + "\n";
        while (!rest.empty()) {
            pieces.push_back(rest.substr(0, maxChars));
            rest.erase(0, maxChars);
        }
    }
    return pieces;
}

} // namespace

int ifcfg::detect_distro(int* distro)
{
    std::string issue;
    if (!host::read_file(kIssuePath, issue, host::Access::ReadWrite))
        return status::kFileOpen;
    issue.resize(std::min(issue.size(), kIssueBytes));
    std::string text(issue.c_str());
    int found = kDistroUnknown;
    for (const FamilyMark& mark : kFamilyMarks) {
        if (text.find(mark.text) != std::string::npos) {
            found = mark.distro;
            break;
        }
    }
    if (distro != nullptr)
        *distro = found;
    return found == kDistroUnknown ? status::kFailure : status::kSuccess;
}

int ifcfg::current_run_level()
{
    std::string output;
    if (host::capture(host::Command::format("runlevel"), output) != 0) {
        perror("popen");
        return status::kFailure;
    }
    // The scan position carries over from one line to the next: the command
    // prints a single line, and only its "N <level>" form is understood.
    int level = 0;
    size_t position = 0;
    for (const std::string& piece : pieces_as_read(output, kRunLevelLineChars)) {
        const char* line = piece.c_str();
        size_t length = strlen(line);
        for (; position < length; ++position) {
            if (line[position] == 'N') {
                level = position + 2 <= length ? static_cast<int>(strtol(line + position + 2, nullptr, 10)) : 0;
                break;
            }
        }
    }
    return level;
}

int get_linux_distro(int* distro)
{
    return guarded([&] { return ifcfg::detect_distro(distro); });
}

int GetCurrentRunLevel(int)
{
    return guarded([] { return ifcfg::current_run_level(); });
}
