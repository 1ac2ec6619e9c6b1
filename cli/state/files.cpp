#include "files.h"

#include "descriptor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace cli::state {

namespace {

constexpr const char* kConfigDirectories[] = {"/etc/sysconfig/network-scripts", "/etc/sysconfig/network"};
constexpr const char* kSingleFiles[] = {"/etc/sysconfig/network", "/etc/resolv.conf"};

std::vector<std::pair<std::string, std::string>> read_attributes(int fd)
{
    std::vector<std::pair<std::string, std::string>> attributes;
    const ssize_t size = flistxattr(fd, nullptr, 0);
    if (size <= 0)
        return attributes;
    std::string names(static_cast<size_t>(size), '\0');
    const ssize_t got = flistxattr(fd, &names[0], names.size());
    for (size_t at = 0; got > 0 && at < static_cast<size_t>(got); at = names.find('\0', at) + 1) {
        const std::string name = names.c_str() + at;
        const ssize_t length = fgetxattr(fd, name.c_str(), nullptr, 0);
        std::string value(static_cast<size_t>(std::max<ssize_t>(length, 0)), '\0');
        if (length >= 0 && fgetxattr(fd, name.c_str(), &value[0], value.size()) == length)
            attributes.emplace_back(name, value);
    }
    return attributes;
}

// A regular file (through symbolic links), read with its attributes.
bool save_file(const std::string& path, std::vector<SavedFile>& files)
{
    Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    SavedFile file{path, "", status.st_mode & 07777, status.st_uid, status.st_gid, read_attributes(fd.get())};
    if (!read_all(fd.get(), file.bytes))
        return false;
    files.push_back(std::move(file));
    return true;
}

void save_directory(const std::string& directory, std::vector<SavedFile>& files)
{
    DIR* listing = opendir(directory.c_str());
    if (listing == nullptr)
        return;
    while (const dirent* entry = readdir(listing)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            save_file(std::string(directory).append("/").append(name), files);
    }
    closedir(listing);
}

std::string directory_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Where the bytes of `path` live: the target of a symbolic link.
std::string real_path(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

void apply_metadata(int fd, const SavedFile& file)
{
    (void)!fchown(fd, file.owner, file.group);
    fchmod(fd, file.mode);
    for (const auto& [name, value] : file.attributes)
        fsetxattr(fd, name.c_str(), value.data(), value.size(), 0);
}

// Rewrites the file where it is: for a file that cannot be replaced, such as
// a bind-mounted /etc/resolv.conf.
bool rewrite_in_place(const std::string& path, const SavedFile& file)
{
    Descriptor fd(open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW));
    if (fd.get() < 0 || !write_all(fd.get(), file.bytes))
        return false;
    apply_metadata(fd.get(), file);
    return fsync(fd.get()) == 0;
}

// A complete new copy beside the file, then renamed over it: the file is
// never seen half-written.
bool write_file(const SavedFile& file)
{
    const std::string path = real_path(file.path);
    std::string temporary = directory_of(path) + "/.linnet-restore-XXXXXX";
    Descriptor fd(mkostemp(&temporary[0], O_CLOEXEC));
    if (fd.get() < 0)
        return rewrite_in_place(path, file);
    bool written = write_all(fd.get(), file.bytes);
    apply_metadata(fd.get(), file);
    written = written && fsync(fd.get()) == 0;
    if (written && rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    unlink(temporary.c_str());
    return (errno == EBUSY || errno == EXDEV) && rewrite_in_place(path, file);
}

bool same_file(const SavedFile& a, const SavedFile& b)
{
    return a.bytes == b.bytes && a.mode == b.mode && a.owner == b.owner && a.group == b.group;
}

std::map<std::string, const SavedFile*> by_path(const std::vector<SavedFile>& files)
{
    std::map<std::string, const SavedFile*> map;
    for (const SavedFile& file : files)
        map[file.path] = &file;
    return map;
}

} // namespace

std::vector<SavedFile> save_files()
{
    std::vector<SavedFile> files;
    for (const char* directory : kConfigDirectories)
        save_directory(directory, files);
    for (const char* path : kSingleFiles)
        save_file(path, files);
    std::sort(files.begin(), files.end(), [](const SavedFile& a, const SavedFile& b) { return a.path < b.path; });
    return files;
}

std::vector<FileChange> changed_files(const std::vector<SavedFile>& before, const std::vector<SavedFile>& after)
{
    std::map<std::string, const SavedFile*> old = by_path(before), now = by_path(after);
    std::map<std::string, FileChange> changes;
    for (const auto& [path, file] : old) {
        auto other = now.find(path);
        if (other == now.end() || other->second->bytes != file->bytes)
            changes[path] = {path, file->bytes, other == now.end() ? "" : other->second->bytes};
    }
    for (const auto& [path, file] : now) {
        if (old.count(path) == 0)
            changes[path] = {path, "", file->bytes};
    }
    std::vector<FileChange> list;
    list.reserve(changes.size());
    for (auto& entry : changes)
        list.push_back(std::move(entry.second));
    return list;
}

std::vector<std::string> restore_files(const std::vector<SavedFile>& saved)
{
    std::vector<std::string> failed;
    const std::vector<SavedFile> now = save_files();
    std::map<std::string, const SavedFile*> old = by_path(saved), current = by_path(now);
    for (const auto& [path, file] : old) {
        auto other = current.find(path);
        if ((other == current.end() || !same_file(*other->second, *file)) && !write_file(*file))
            failed.push_back(path);
    }
    for (const auto& [path, file] : current) {
        if (old.count(path) == 0 && unlink(path.c_str()) != 0 && errno != ENOENT)
            failed.push_back(path);
    }
    return failed;
}

} // namespace cli::state
