#include "file_set.h"

#include <dirent.h>
#include <fnmatch.h>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {

namespace {

std::string read_bytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_bytes(const std::string& path, const FileState& state)
{
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << state.content;
    }
    chmod(path.c_str(), state.mode);
}

std::string shown(const std::string& path, const FileSet& files)
{
    auto found = files.find(path);
    if (found == files.end())
        return "(missing)";
    return std::to_string(found->second.content.size()) + " bytes \"" + found->second.content + "\"";
}

} // namespace

bool FileScope::holds(const std::string& name) const
{
    if (name == "." || name == "..")
        return false;
    if (namePrefixes.empty())
        return true;
    for (const std::string& prefix : namePrefixes) {
        if (name.compare(0, prefix.size(), prefix) == 0)
            return true;
    }
    return false;
}

FileSet take_snapshot(const FileScope& scope)
{
    FileSet files;
    DIR* directory = opendir(scope.directory.c_str());
    if (directory == nullptr)
        return files;
    while (dirent* entry = readdir(directory)) {
        if (!scope.holds(entry->d_name))
            continue;
        std::string path = scope.directory + "/" + entry->d_name;
        struct stat info;
        if (lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode))
            files[path] = FileState{read_bytes(path), info.st_mode & 07777};
    }
    closedir(directory);
    return files;
}

void restore(const FileScope& scope, const FileSet& files)
{
    for (const auto& [path, state] : take_snapshot(scope)) {
        auto wanted = files.find(path);
        if (wanted == files.end())
            unlink(path.c_str());
        else if (wanted->second != state)
            write_bytes(path, wanted->second);
    }
    const FileSet now = take_snapshot(scope);
    for (const auto& [path, state] : files) {
        if (now.count(path) == 0)
            write_bytes(path, state);
    }
}

Comparison compare(const FileSet& before, const FileSet& expected, const FileSet& now)
{
    std::set<std::string> paths;
    for (const FileSet* set : {&before, &expected, &now}) {
        for (const auto& entry : *set)
            paths.insert(entry.first);
    }
    Comparison result;
    for (const std::string& path : paths) {
        auto was = before.find(path), will = expected.find(path), is = now.find(path);
        const bool changes =
            (was == before.end()) != (will == expected.end()) || (was != before.end() && was->second != will->second);
        const bool asBefore =
            (is == now.end()) == (was == before.end()) && (is == now.end() || is->second == was->second);
        const bool asExpected =
            (is == now.end()) == (will == expected.end()) && (is == now.end() || is->second == will->second);
        if (was == before.end() && will == expected.end())
            result.strays.push_back(path);
        else if (asBefore)
            result.old.push_back(path);
        else if (asExpected && changes)
            result.renewed.push_back(path);
        else
            result.broken.push_back(path + ": " + shown(path, now) + ", was " + shown(path, before) + ", expected "
                                    + shown(path, expected));
    }
    // A file the operation leaves as it was is "old" either way.
    for (auto it = result.old.begin(); it != result.old.end();) {
        auto was = before.find(*it), will = expected.find(*it);
        const bool unchangedByOperation =
            (was == before.end()) == (will == expected.end()) && (was == before.end() || was->second == will->second);
        it = unchangedByOperation ? result.old.erase(it) : it + 1;
    }
    return result;
}

bool looks_like_interface_file(const std::string& path)
{
    std::string name = path.substr(path.rfind('/') + 1);
    // The distributions' scripts glob ifcfg-*; the library's own directory
    // scans take any name that holds "ifcfg-".
    return fnmatch("ifcfg-*", name.c_str(), 0) == 0 || name.find("ifcfg-") != std::string::npos;
}

} // namespace faults
