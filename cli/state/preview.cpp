// The sandbox of a dry run. linnet forks a child that takes new mount,
// network and pid namespaces and forks the worker, pid 1 of the new pid
// namespace: every process a step starts dies with it, and no pid read from
// a pid file can name a host process. The worker makes the whole file system
// tree read-only (in its own mount namespace), lays private copies over what
// the library writes (/run, /tmp, the configuration directories and files),
// puts /bin/true in place of the DHCP clients, recreates the host's adapters
// in the empty network namespace, checks that the library reads them as it
// reads the host, runs the steps and sends back the files that changed.
#include "preview.h"

#include "descriptor.h"

#include "host_state.h"
#include "steps.h"

#include "../library_symbols.h"
#include "../output.h"
#include "../records.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <map>
#include <poll.h>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

namespace cli::state {

namespace {

// The places save_files() watches.
constexpr const char* kConfigDirectories[] = {"/etc/sysconfig/network-scripts", "/etc/sysconfig/network"};
constexpr const char* kConfigFiles[] = {"/etc/sysconfig/network", "/etc/resolv.conf"};
// Only read, but opened for reading and writing, which a read-only mount refuses.
constexpr const char* kOpenedForWriting[] = {"/etc/issue"};
constexpr const char* kDhcpClients[] = {"/sbin/dhclient", "/usr/sbin/dhclient", "/sbin/dhcpcd", "/usr/sbin/dhcpcd"};
constexpr const char* kIpPrograms[] = {"/sbin/ip", "/usr/sbin/ip", "/bin/ip", "/usr/bin/ip"};
constexpr const char* kDoNothing = "/bin/true";
constexpr const char* kLogSocket = "/dev/log";
constexpr const char* kStaging = "/tmp/.linnet-preview";

// What of /run is copied: regular files up to 1 MiB, 64 MiB in all.
constexpr size_t kRunFileLimit = size_t{1} << 20;
constexpr size_t kRunTotalLimit = size_t{64} << 20;
constexpr size_t kConfigLimit = size_t{256} << 20;
constexpr int kMaxDepth = 32;
constexpr int kPreviewSeconds = 120;
constexpr const char* kVxlanPort = "4789";
constexpr decltype(statfs::f_type) kFuseMagic = 0x65735546;

// A setup that failed: the preview is unavailable.
struct Unavailable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const std::string& what)
{
    throw Unavailable(what);
}

[[noreturn]] void fail_errno(const std::string& what)
{
    throw Unavailable(what + ": " + strerror(errno));
}

// ---- What is read of the host before the sandbox is made ----

struct HostCopy {
    std::vector<SavedFile> files;
    std::map<std::string, std::string> macs;                   // by interface name
    std::map<std::string, std::vector<Address>> dhcpAddresses; // what the DHCP servers gave
};

std::string mac_of(const std::string& name)
{
    std::ifstream file("/sys/class/net/" + name + "/address");
    std::string mac;
    std::getline(file, mac);
    return mac;
}

HostCopy copy_host(NetworkAdapter& adapter, const HostState& current)
{
    HostCopy copy;
    copy.files = save_files();
    for (const Interface& interface : current.interfaces) {
        copy.macs[interface.name] = mac_of(interface.name);
        if (interface.ipv4 && interface.ipv4->dhcp.value_or(false)) {
            int ignored = 0; // an adapter without addresses recreates as one without
            copy.dhcpAddresses[interface.name] = adapter_addresses(adapter, interface.libraryName, ignored);
        }
    }
    return copy;
}

// ---- The result, sent from the sandbox through a pipe ----

// Numbers as 8 bytes, texts as their length and bytes.
class WireWriter {
public:
    void number(uint64_t value) { bytes_.append(reinterpret_cast<const char*>(&value), sizeof value); }
    void text(const std::string& value)
    {
        number(value.size());
        bytes_ += value;
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

class WireReader {
public:
    explicit WireReader(const std::string& bytes) : bytes_(bytes) {}
    bool number(uint64_t& value)
    {
        if (bytes_.size() - at_ < sizeof value)
            return false;
        memcpy(&value, bytes_.data() + at_, sizeof value);
        at_ += sizeof value;
        return true;
    }
    bool text(std::string& value)
    {
        uint64_t length = 0;
        if (!number(length) || bytes_.size() - at_ < length)
            return false;
        value = bytes_.substr(at_, length);
        at_ += length;
        return true;
    }
    bool at_end() const { return at_ == bytes_.size(); }

private:
    const std::string& bytes_;
    size_t at_ = 0;
};

enum Record : uint64_t { kUnavailableRecord = 1, kPreviewRecord = 2 };
constexpr uint64_t kNoFailedStep = UINT64_MAX;

std::string encode(const PreviewResult& result)
{
    WireWriter wire;
    if (!result.available) {
        wire.number(kUnavailableRecord);
        wire.text(result.unavailable);
        return wire.bytes();
    }
    wire.number(kPreviewRecord);
    wire.number(result.failedStep ? *result.failedStep : kNoFailedStep);
    wire.number(static_cast<uint64_t>(static_cast<int64_t>(result.status)));
    wire.number(result.files.size());
    for (const FileChange& change : result.files) {
        wire.text(change.path);
        wire.text(change.before);
        wire.text(change.after);
    }
    return wire.bytes();
}

bool decode(const std::string& bytes, PreviewResult& result)
{
    WireReader wire(bytes);
    uint64_t record = 0, failed = 0, status = 0, count = 0;
    if (!wire.number(record))
        return false;
    if (record == kUnavailableRecord)
        return wire.text(result.unavailable) && wire.at_end();
    if (record != kPreviewRecord || !wire.number(failed) || !wire.number(status) || !wire.number(count))
        return false;
    result.available = true;
    if (failed != kNoFailedStep)
        result.failedStep = failed;
    result.status = static_cast<int>(static_cast<int64_t>(status));
    for (uint64_t i = 0; i < count; ++i) {
        FileChange change;
        if (!wire.text(change.path) || !wire.text(change.before) || !wire.text(change.after))
            return false;
        result.files.push_back(std::move(change));
    }
    return wire.at_end();
}

PreviewResult unavailable(const std::string& why)
{
    PreviewResult result;
    result.unavailable = why;
    return result;
}

// ---- The sandbox's file system ----

bool under(const std::string& path, const std::vector<std::string>& roots)
{
    for (const std::string& root : roots) {
        if (path.compare(0, root.size(), root) == 0 && (path.size() == root.size() || path[root.size()] == '/'))
            return true;
    }
    return false;
}

// The flags a read-only remount keeps.
unsigned long kept_flags(const std::string& options)
{
    static const std::pair<const char*, unsigned long> kFlags[] = {
        {"nosuid", MS_NOSUID},   {"nodev", MS_NODEV},           {"noexec", MS_NOEXEC},
        {"noatime", MS_NOATIME}, {"nodiratime", MS_NODIRATIME}, {"relatime", MS_RELATIME},
    };
    unsigned long flags = 0;
    std::istringstream words(options);
    for (std::string word; std::getline(words, word, ',');) {
        for (const auto& [name, flag] : kFlags) {
            if (word == name)
                flags |= flag;
        }
    }
    return flags;
}

// A mount point as mountinfo writes it, with \ooo escapes.
std::string unescaped(const std::string& text)
{
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

// Every mount of the namespace but /proc made read-only: nothing a step
// does can write to the host's files, only to the private copies mounted
// afterwards. /proc stays writable because the library opens the kernel's
// VLAN tables for reading and writing, as it opens its configuration files.
// A mount hidden under a later one cannot be reached by its path (ENOENT,
// EINVAL), nor written through it.
void make_tree_read_only()
{
    std::ifstream table("/proc/self/mountinfo");
    if (!table)
        fail_errno("reading /proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string id, parent, device, root, point, options;
        if (!(fields >> id >> parent >> device >> root >> point >> options))
            continue;
        const std::string path = unescaped(point);
        if (under(path, {"/proc"}))
            continue;
        if (mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | kept_flags(options), nullptr) != 0
            && errno != ENOENT && errno != EINVAL)
            fail_errno("making " + path + " read-only");
    }
}

void mount_tmpfs(const std::string& path, const struct stat& like)
{
    char options[32];
    snprintf(options, sizeof options, "mode=%o", static_cast<unsigned>(like.st_mode & 07777));
    if (mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options) != 0)
        fail_errno("mounting a tmpfs on " + path);
    if (chown(path.c_str(), like.st_uid, like.st_gid) != 0)
        fail_errno("giving " + path + " its owner");
}

struct CopyLimits {
    size_t fileBytes;
    size_t bytesLeft;
    bool linksAsFiles; // a link to a regular file copied as the file
};

void copy_entries(int from, const std::string& to, CopyLimits& limits, int depth);

void copy_file(int from, const char* name, const struct stat& status, const std::string& to, CopyLimits& limits,
               bool follow)
{
    const size_t size = static_cast<size_t>(status.st_size);
    if (size > limits.fileBytes || size > limits.bytesLeft)
        return;
    Descriptor in(openat(from, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW)));
    std::string bytes;
    if (in.get() < 0 || !read_all(in.get(), bytes, std::min(limits.fileBytes, limits.bytesLeft)))
        return;
    limits.bytesLeft -= bytes.size();
    Descriptor out(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (out.get() < 0 || !write_all(out.get(), bytes))
        fail_errno("copying " + to);
    (void)!fchown(out.get(), status.st_uid, status.st_gid);
    fchmod(out.get(), status.st_mode & 07777);
}

void copy_link(int from, const char* name, const struct stat& status, const std::string& to)
{
    char target[PATH_MAX];
    const ssize_t length = readlinkat(from, name, target, sizeof target - 1);
    if (length < 0)
        return;
    target[length] = '\0';
    if (symlink(target, to.c_str()) != 0)
        fail_errno("copying " + to);
    (void)!lchown(to.c_str(), status.st_uid, status.st_gid);
}

void copy_directory(int from, const char* name, const struct stat& status, const std::string& to, CopyLimits& limits,
                    int depth)
{
    Descriptor in(openat(from, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct statfs fileSystem {};
    // A user's FUSE mount (a desktop's /run/user/UID/gvfs) may answer
    // slowly or not at all, and holds nothing of the network's.
    if (in.get() < 0 || depth >= kMaxDepth || fstatfs(in.get(), &fileSystem) != 0 || fileSystem.f_type == kFuseMagic)
        return;
    if (mkdir(to.c_str(), 0700) != 0)
        fail_errno("copying " + to);
    copy_entries(in.get(), to, limits, depth + 1);
    (void)!chown(to.c_str(), status.st_uid, status.st_gid);
    chmod(to.c_str(), status.st_mode & 07777);
}

// Directories, regular files and symbolic links; no sockets, pipes or devices.
void copy_entry(int from, const char* name, const std::string& to, CopyLimits& limits, int depth)
{
    struct stat status {};
    if (fstatat(from, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    struct stat followed {};
    if (S_ISLNK(status.st_mode) && limits.linksAsFiles && fstatat(from, name, &followed, 0) == 0
        && S_ISREG(followed.st_mode))
        copy_file(from, name, followed, to, limits, true);
    else if (S_ISLNK(status.st_mode))
        copy_link(from, name, status, to);
    else if (S_ISDIR(status.st_mode))
        copy_directory(from, name, status, to, limits, depth);
    else if (S_ISREG(status.st_mode))
        copy_file(from, name, status, to, limits, false);
}

void copy_entries(int from, const std::string& to, CopyLimits& limits, int depth)
{
    const int copy = dup(from);
    DIR* listing = copy >= 0 ? fdopendir(copy) : nullptr;
    if (listing == nullptr) {
        if (copy >= 0)
            close(copy);
        return;
    }
    while (const dirent* entry = readdir(listing)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            copy_entry(from, name.c_str(), std::string(to).append("/").append(name), limits, depth);
    }
    closedir(listing);
}

// A tmpfs over the directory, holding a copy of what was there.
void mount_private_copy(const std::string& path, CopyLimits limits)
{
    Descriptor old(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (old.get() < 0 || fstat(old.get(), &status) != 0)
        fail_errno("opening " + path);
    mount_tmpfs(path, status);
    copy_entries(old.get(), path, limits, 0);
}

bool is_directory(const std::string& path, bool followLinks)
{
    struct stat status {};
    return (followLinks ? stat(path.c_str(), &status) : lstat(path.c_str(), &status)) == 0 && S_ISDIR(status.st_mode);
}

std::string real_path(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

void bind_mount(const std::string& source, const std::string& target)
{
    if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0)
        fail_errno("binding " + source + " over " + target);
}

// A private copy of the file (bytes, mode, owner) bound over it.
void bind_private_copy(const std::string& path, int number)
{
    Descriptor in(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    std::string bytes;
    if (in.get() < 0 || fstat(in.get(), &status) != 0 || !read_all(in.get(), bytes, kConfigLimit))
        fail_errno("reading " + path);
    const std::string copy = std::string(kStaging) + "/file" + std::to_string(number);
    Descriptor out(open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (out.get() < 0 || !write_all(out.get(), bytes) || fchown(out.get(), status.st_uid, status.st_gid) != 0
        || fchmod(out.get(), status.st_mode & 07777) != 0)
        fail_errno("copying " + path);
    bind_mount(copy, path);
}

class SandboxFiles {
public:
    void make()
    {
        make_tree_read_only();
        if (mount("sysfs", "/sys", "sysfs", MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
            fail_errno("mounting sysfs");
        mount_scratch("/tmp");
        if (mkdir(kStaging, 0700) != 0)
            fail_errno("making " + std::string(kStaging));
        copy_run("/run");
        if (is_directory("/var/run", false))
            copy_run("/var/run");
        for (const char* directory : kConfigDirectories)
            copy_config_directory(directory);
        for (const char* path : kConfigFiles)
            copy_config_file(path);
        for (const char* path : kOpenedForWriting)
            copy_config_file(path);
        replace_dhcp_clients();
        silence_log();
    }

private:
    void mount_scratch(const std::string& path)
    {
        struct stat status {};
        if (stat(path.c_str(), &status) != 0)
            fail_errno("reading " + path);
        mount_tmpfs(path, status);
        private_.push_back(path);
    }

    void copy_run(const std::string& path)
    {
        mount_private_copy(path, {kRunFileLimit, kRunTotalLimit, false});
        private_.push_back(path);
    }

    void copy_config_directory(const std::string& path)
    {
        if (!is_directory(path, true))
            return;
        const std::string real = real_path(path);
        mount_private_copy(real, {kConfigLimit, kConfigLimit, true});
        private_.push_back(real);
    }

    // Bound over its real path: /etc/resolv.conf may be a link into /run,
    // whose copy is private already.
    void copy_config_file(const std::string& path)
    {
        const std::string real = real_path(path);
        struct stat status {};
        if (real.empty() || under(real, private_) || stat(real.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            return;
        bind_private_copy(real, ++copies_);
        private_.push_back(real);
    }

    void replace_dhcp_clients()
    {
        const std::string nothing = real_path(kDoNothing);
        if (nothing.empty())
            fail(std::string(kDoNothing) + " is missing");
        for (const char* client : kDhcpClients) {
            const std::string real = real_path(client);
            if (!real.empty())
                bind_mount(nothing, real);
        }
    }

    // The library's log lines from the sandbox do not reach the host's log.
    void silence_log()
    {
        struct stat status {};
        const std::string real = real_path(kLogSocket);
        if (!real.empty() && stat(real.c_str(), &status) == 0 && S_ISSOCK(status.st_mode))
            bind_mount("/dev/null", real);
    }

    std::vector<std::string> private_;
    int copies_ = 0;
};

// ---- The host's network, recreated in the sandbox ----

std::string ip_program()
{
    for (const char* path : kIpPrograms) {
        if (access(path, X_OK) == 0)
            return path;
    }
    fail("no ip program");
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// Runs ip with the arguments (no shell); "" when it succeeded, else what it said.
std::string run_ip(const std::vector<std::string>& arguments)
{
    static const std::string program = ip_program();
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    int errors[2];
    if (pipe2(errors, O_CLOEXEC) != 0)
        fail_errno("running ip");
    const pid_t child = fork();
    if (child == 0) {
        dup2(errors[1], STDERR_FILENO);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(errors[1]);
    std::string said;
    read_all(errors[0], said, 4096);
    close(errors[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        fail_errno("running ip");
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return "";
    said = said.substr(0, said.find('\n'));
    return said.empty() ? "failed" : said;
}

void ip(const std::vector<std::string>& arguments)
{
    const std::string problem = run_ip(arguments);
    if (!problem.empty())
        fail("ip " + joined(arguments) + ": " + problem);
}

// A kernel module that is loaded or built in. Creating a link of a type
// whose module is not loaded would load it, and the dummy module makes a
// dummy0 of its own in the host's network namespace.
bool module_present(const std::string& name)
{
    return access(("/sys/module/" + name).c_str(), F_OK) == 0;
}

class SandboxNetwork {
public:
    SandboxNetwork(const HostState& current, const HostCopy& host) : current_(current), host_(host) {}

    void make()
    {
        ip({"link", "set", "lo", "up"});
        for (const Interface& interface : current_.interfaces) {
            if (!interface.vlan)
                add_adapter(interface.name, &interface);
        }
        for (const Interface& interface : current_.interfaces) {
            if (interface.vlan)
                add_vlan(interface);
        }
        for (const Interface* interface : in_creation_order()) {
            if (interface->state == LinkState::kUp)
                ip({"link", "set", interface->name, "up"});
        }
        for (const Interface& interface : current_.interfaces)
            add_addresses(interface);
        add_default_route();
    }

private:
    std::vector<std::string> link_settings(const Interface& interface) const
    {
        std::vector<std::string> settings;
        const auto mac = host_.macs.find(interface.name);
        if (mac != host_.macs.end() && !mac->second.empty())
            settings.insert(settings.end(), {"address", mac->second});
        if (interface.mtu)
            settings.insert(settings.end(), {"mtu", std::to_string(*interface.mtu)});
        return settings;
    }

    // A plain adapter: a dummy where that module is loaded, else a vxlan
    // (plain name, real link state, the full MTU range).
    void add_adapter(const std::string& name, const Interface* interface)
    {
        std::vector<std::string> command{"link", "add", name};
        if (interface != nullptr) {
            const std::vector<std::string> settings = link_settings(*interface);
            command.insert(command.end(), settings.begin(), settings.end());
        }
        if (module_present("dummy"))
            command.insert(command.end(), {"type", "dummy"});
        else
            command.insert(command.end(), {"type", "vxlan", "id", std::to_string(++vxlans_), "dstport", kVxlanPort});
        ip(command);
        created_.push_back(name);
    }

    // An 802.1Q VLAN where that module is loaded, else a macvlan of the
    // same name (as the simulated host makes its VLANs).
    void add_vlan(const Interface& interface)
    {
        std::vector<std::string> command{"link", "add", "link", interface.vlan->base, "name", interface.name};
        const std::vector<std::string> settings = link_settings(interface);
        command.insert(command.end(), settings.begin(), settings.end());
        if (module_present("8021q"))
            command.insert(command.end(), {"type", "vlan", "id", std::to_string(interface.vlan->id)});
        else
            command.insert(command.end(), {"type", "macvlan"});
        ip(command);
        created_.push_back(interface.name);
    }

    std::vector<const Interface*> in_creation_order() const
    {
        std::vector<const Interface*> order;
        for (bool vlans : {false, true}) {
            for (const Interface& interface : current_.interfaces) {
                if (interface.vlan.has_value() == vlans)
                    order.push_back(&interface);
            }
        }
        return order;
    }

    void add_addresses(const Interface& interface)
    {
        const auto dhcp = host_.dhcpAddresses.find(interface.name);
        const std::vector<Address>* addresses = dhcp != host_.dhcpAddresses.end() ? &dhcp->second : nullptr;
        if (addresses == nullptr && interface.ipv4 && interface.ipv4->addresses)
            addresses = &*interface.ipv4->addresses;
        if (addresses == nullptr)
            return;
        for (const Address& address : *addresses) {
            const bool broadcast = !address.broadcast.empty() && address.broadcast != "0.0.0.0";
            std::vector<std::string> command{
                "addr", "add", address.text(), "brd", broadcast ? address.broadcast : "+", "dev", interface.name};
            if (address.aliasIndex >= 0)
                command.insert(command.end(), {"label", interface.name + ":" + std::to_string(address.aliasIndex)});
            ip(command);
        }
    }

    // Through an interface the library does not list, a stand-in for it.
    void add_default_route()
    {
        if (!current_.route || current_.route->absent || current_.route->gateway.empty())
            return;
        const DefaultRoute& route = *current_.route;
        if (std::find(created_.begin(), created_.end(), route.interface) == created_.end()) {
            add_adapter(route.interface, nullptr);
            ip({"link", "set", route.interface, "up"});
        }
        const std::vector<std::string> command{"route", "add", "default", "via", route.gateway, "dev", route.interface};
        if (!run_ip(command).empty())
            ip({"route", "add", "default", "via", route.gateway, "dev", route.interface, "onlink"});
    }

    const HostState& current_;
    const HostCopy& host_;
    std::vector<std::string> created_;
    unsigned vxlans_ = 0;
};

// ---- The worker, pid 1 of the sandbox ----

std::string joined_lines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "; ") + line;
    return text;
}

// The library must see the sandbox as it sees the host, or the preview
// would not show what the apply does.
void check_sandbox(const HostState& current, const HostCopy& host)
{
    NetworkAdapter adapter;
    int status = 0;
    const HostState seen = read_host_state(adapter, status);
    if (status != 0)
        fail("reading the sandbox failed (status " + std::to_string(status) + ")");
    const std::vector<std::string> differences = mismatches(seen, current);
    if (!differences.empty())
        fail("the sandbox differs from the host: " + joined_lines(differences));
    const std::vector<FileChange> copied = changed_files(host.files, save_files());
    if (!copied.empty())
        fail("the sandbox's copy of " + copied.front().path + " differs from the host's");
}

PreviewResult run_plan(const std::vector<Step>& plan, const std::string& anyAdapter, size_t failingStep,
                       const HostCopy& host)
{
    PreviewResult result;
    result.available = true;
    NetworkAdapter adapter;
    for (size_t i = 0; i < plan.size() && !result.failedStep; ++i) {
        result.status = i + 1 == failingStep ? status::kFailure : run_step(adapter, plan[i], anyAdapter);
        if (result.status != 0)
            result.failedStep = i;
    }
    result.files = changed_files(host.files, save_files());
    return result;
}

void send(int out, const PreviewResult& result)
{
    write_all(out, encode(result));
}

void detach_standard_streams()
{
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int fd = 0; fd <= 2; ++fd)
        dup2(null, fd);
}

[[noreturn]] void run_worker(int out, const HostState& current, const std::vector<Step>& plan,
                             const std::string& anyAdapter, size_t failingStep, const HostCopy& host)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        if (chdir("/") != 0)
            fail_errno("changing to /");
        SandboxFiles().make();
        SandboxNetwork(current, host).make();
        check_sandbox(current, host);
        send(out, run_plan(plan, anyAdapter, failingStep, host));
    } catch (const std::exception& error) {
        send(out, unavailable(error.what()));
    }
    _exit(0);
}

// The child that takes the new namespaces; its own child is the worker.
[[noreturn]] void run_sandbox(int out, pid_t linnet, const HostState& current, const std::vector<Step>& plan,
                              const std::string& anyAdapter, size_t failingStep, const HostCopy& host)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != linnet)
        _exit(1);
    detach_standard_streams();
    // A connection to the host's log that linnet may hold is not the
    // sandbox's: the library reconnects through /dev/log, silenced there.
    closelog();
    if (unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID) != 0) {
        send(out, unavailable(std::string("cannot make the sandbox's namespaces: ") + strerror(errno)));
        _exit(0);
    }
    // Nothing mounted from here on reaches the host's mount namespace.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        send(out, unavailable(std::string("cannot make the sandbox's mounts private: ") + strerror(errno)));
        _exit(0);
    }
    const pid_t worker = fork();
    if (worker == 0)
        run_worker(out, current, plan, anyAdapter, failingStep, host);
    close(out);
    int status = 0;
    if (worker < 0 || waitpid(worker, &status, 0) != worker)
        _exit(1);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

// ---- linnet's side ----

// Everything the sandbox sends; false when it did not end in time.
bool receive(int in, std::string& bytes)
{
    const time_t deadline = time(nullptr) + kPreviewSeconds;
    for (time_t now = time(nullptr); now < deadline; now = time(nullptr)) {
        pollfd waiting{in, POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(deadline - now) * 1000);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        const ReadStep step = read_some(in, bytes);
        if (step != ReadStep::More)
            return step == ReadStep::End;
    }
    return false;
}

std::string ending_of(int status)
{
    if (WIFSIGNALED(status))
        return " (killed by signal " + std::to_string(WTERMSIG(status)) + ")";
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        return " (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
    return "";
}

} // namespace

PreviewResult preview_plan(NetworkAdapter& adapter, const HostState& current, const std::vector<Step>& plan,
                           const std::string& anyAdapter, size_t failingStep)
{
    const HostCopy host = copy_host(adapter, current);
    int channel[2];
    if (pipe2(channel, O_CLOEXEC) != 0)
        return unavailable(std::string("cannot make a pipe: ") + strerror(errno));
    std::cout.flush();
    std::cerr.flush();
    fflush(nullptr);
    const pid_t linnet = getpid();
    const pid_t sandbox = fork();
    if (sandbox == 0) {
        close(channel[0]);
        run_sandbox(channel[1], linnet, current, plan, anyAdapter, failingStep, host);
    }
    close(channel[1]);
    if (sandbox < 0) {
        close(channel[0]);
        return unavailable(std::string("cannot start the sandbox: ") + strerror(errno));
    }
    std::string bytes;
    const bool ended = receive(channel[0], bytes);
    close(channel[0]);
    if (!ended)
        kill(sandbox, SIGKILL);
    int status = 0;
    const bool waited = waitpid(sandbox, &status, 0) == sandbox;
    if (!ended)
        return unavailable("the sandbox did not finish within " + std::to_string(kPreviewSeconds) + " seconds");
    PreviewResult result;
    if (!decode(bytes, result))
        return unavailable("the sandbox ended without a result" + (waited ? ending_of(status) : std::string()));
    return result;
}

} // namespace cli::state
