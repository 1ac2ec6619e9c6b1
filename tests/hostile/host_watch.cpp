#include "host_watch.h"

#include "mxlinnet.h"

#include "hostile_values.h"
#include "testbed.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace hostile {

namespace {

constexpr const char* kEtcChanges = "/run/testbed/etc-changes";
constexpr const char* kResolvConf = "/etc/resolv.conf";
constexpr const char* kSourceDir = "/run/hostile-source";

size_t page_size()
{
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

std::string describe(const std::string& path, const struct stat& info)
{
    std::string entry = std::to_string(info.st_mode) + ":";
    if (S_ISREG(info.st_mode))
        return entry + testbed::read(path);
    if (S_ISLNK(info.st_mode)) {
        char target[4096];
        ssize_t n = readlink(path.c_str(), target, sizeof target);
        return entry + std::string(target, n > 0 ? static_cast<size_t>(n) : 0);
    }
    if (S_ISCHR(info.st_mode))
        return entry + std::to_string(info.st_rdev);
    return entry;
}

void walk(const std::string& root, const std::string& relative, Tree& tree)
{
    DIR* dir = opendir((root + relative).c_str());
    if (dir == nullptr)
        return;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        std::string path = relative + "/" + name;
        struct stat info;
        if (lstat((root + path).c_str(), &info) != 0)
            continue;
        tree[path] = describe(root + path, info);
        if (S_ISDIR(info.st_mode))
            walk(root, path, tree);
    }
    closedir(dir);
}

bool has_prefix(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Differences between two trees, skipping the paths `ignored` accepts.
template <class Ignored>
void compare(const std::string& where, const Tree& before, const Tree& after, Ignored ignored,
             std::vector<std::string>& problems)
{
    for (const auto& [path, entry] : after) {
        if (ignored(path))
            continue;
        auto old = before.find(path);
        if (old == before.end())
            problems.push_back("new in " + where + ": " + shown(path));
        else if (old->second != entry)
            problems.push_back("changed in " + where + ": " + shown(path));
    }
    for (const auto& [path, entry] : before) {
        if (!ignored(path) && after.count(path) == 0)
            problems.push_back("gone from " + where + ": " + shown(path));
    }
}

void find_canaries(const std::string& where, const Tree& tree, std::vector<std::string>& problems)
{
    for (const auto& [path, entry] : tree) {
        // Configuration files may carry the text in their names; a canary
        // is a file of that name made by a command.
        if (path.compare(path.rfind('/') + 1, std::strlen(kCanaryPrefix), kCanaryPrefix) == 0)
            problems.push_back("canary created: " + where + path);
    }
}

// The configuration directory, relative to /etc as etc-changes shows it.
std::string config_dir_in_etc()
{
    return config_dir().substr(std::strlen("/etc"));
}

bool is_config_path(const std::string& etcRelative)
{
    const std::string dir = config_dir_in_etc();
    return has_prefix(etcRelative, dir) || etcRelative + "/" == dir || etcRelative == "/resolv.conf"
           || has_prefix(etcRelative, "/.resolv.conf.") || etcRelative == "/sysconfig";
}

void remove_tree(const std::string& path)
{
    struct stat info;
    if (lstat(path.c_str(), &info) != 0)
        return;
    if (S_ISDIR(info.st_mode)) {
        Tree inside;
        walk(path, "", inside);
        for (auto entry = inside.rbegin(); entry != inside.rend(); ++entry)
            remove_tree(path + entry->first);
        rmdir(path.c_str());
        return;
    }
    unlink(path.c_str());
}

void empty_directory(const char* path)
{
    remove_tree(path);
    mkdir(path, 0755);
}

} // namespace

FencedBuffer::FencedBuffer(size_t size) : size_(size)
{
    const size_t page = page_size();
    const size_t pages = (size + page - 1) / page + 1;
    mappingSize_ = pages * page;
    mapping_ = mmap(nullptr, mappingSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED)
        abort();
    char* fence = static_cast<char*>(mapping_) + mappingSize_ - page;
    mprotect(fence, page, PROT_NONE);
    data_ = fence - size;
}

FencedBuffer::FencedBuffer(const std::string& text) : FencedBuffer(text.size() + 1)
{
    memcpy(data_, text.c_str(), text.size() + 1);
}

FencedBuffer::~FencedBuffer()
{
    munmap(mapping_, mappingSize_);
}

Outcome run_in_child(const std::function<int()>& call, unsigned timeLimitSeconds)
{
    Outcome outcome;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        outcome.how = "no pipe";
        return outcome;
    }
    mkdir(kCallDir, 0755);
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        if (chdir(kCallDir) != 0)
            _exit(3);
        // The application constructs its adapter object before any call: that
        // sets the list link size the list functions walk by.
        const NetworkAdapter application;
        // Names that are no host's name fail at once, never after a time-out.
        setenv("RES_OPTIONS", "timeout:1 attempts:1", 1);
        alarm(timeLimitSeconds);
        int status = call();
        // Work the call left to children of its own ends before the checks.
        while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {}
        if (write(fds[1], &status, sizeof status) != sizeof status)
            _exit(4);
        _exit(0);
    }
    close(fds[1]);
    int status = 0;
    ssize_t got = read(fds[0], &status, sizeof status);
    close(fds[0]);
    int waitStatus = 0;
    waitpid(pid, &waitStatus, 0);
    if (WIFSIGNALED(waitStatus)) {
        int signal = WTERMSIG(waitStatus);
        outcome.how = signal == SIGALRM ? "no answer within " + std::to_string(timeLimitSeconds) + " s"
                                        : std::string("killed by ") + strsignal(signal);
    } else if (WEXITSTATUS(waitStatus) != 0) {
        outcome.how = "exit code " + std::to_string(WEXITSTATUS(waitStatus));
    } else if (got == sizeof status) {
        outcome.returned = true;
        outcome.status = status;
    } else {
        outcome.how = "no status";
    }
    return outcome;
}

Tree snapshot_tree(const std::string& root)
{
    Tree tree;
    walk(root, "", tree);
    return tree;
}

std::string config_dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

namespace {

Tree config_files()
{
    Tree files;
    for (const auto& [path, entry] : snapshot_tree(config_dir()))
        files[config_dir() + path.substr(1)] = entry;
    struct stat info;
    if (lstat(kResolvConf, &info) == 0)
        files[kResolvConf] = describe(kResolvConf, info);
    return files;
}

} // namespace

ConfigRestore::ConfigRestore() : saved_(config_files()) {}

std::vector<std::string> ConfigRestore::changed() const
{
    std::vector<std::string> paths;
    for (const auto& [path, entry] : config_files()) {
        auto old = saved_.find(path);
        if (old == saved_.end() || old->second != entry)
            paths.push_back(path);
    }
    return paths;
}

void ConfigRestore::restore() const
{
    const Tree now = config_files();
    for (const auto& [path, entry] : now) {
        if (saved_.count(path) == 0)
            remove_tree(path);
    }
    for (const auto& [path, entry] : saved_) {
        auto current = now.find(path);
        if (current != now.end() && current->second == entry)
            continue;
        // Saved entries are regular files: mode, a colon, the content.
        size_t colon = entry.find(':');
        remove_tree(path);
        testbed::write(path, entry.substr(colon + 1));
        chmod(path.c_str(), static_cast<mode_t>(std::stoul(entry.substr(0, colon))) & 07777);
    }
}

std::string network_state()
{
    return testbed::sh("ip -o link show; ip -o -4 addr show; ip route show");
}

HostWatch::HostWatch()
    : etc_(snapshot_tree(kEtcChanges)), tmp_(snapshot_tree("/tmp")), run_(snapshot_tree("/run")),
      network_(network_state())
{
    empty_directory(kCallDir);
}

std::vector<std::string> HostWatch::check()
{
    std::vector<std::string> problems;
    const Tree etc = snapshot_tree(kEtcChanges);
    const Tree tmp = snapshot_tree("/tmp");
    const Tree run = snapshot_tree("/run");
    find_canaries("/etc", etc, problems);
    find_canaries("/tmp", tmp, problems);
    find_canaries("/run", run, problems);
    compare("/etc", etc_, etc, is_config_path, problems);
    // A replace or delete of a name server that matches nothing leaves its
    // scratch file behind, as it always has.
    compare(
        "/tmp", tmp_, tmp, [](const std::string& path) { return path == "/tmpresolv.conf"; }, problems);
    const std::string network = network_state();
    if (network != network_)
        problems.push_back("the live interfaces or routes changed:\n" + network_ + "became\n" + network);
    // The testbed's logs and the operation lock change with every call.
    compare(
        "/run", run_, run,
        [](const std::string& path) {
            return has_prefix(path, "/testbed") || has_prefix(path, "/lock") || has_prefix(path, "/hostile-");
        },
        problems);
    const Tree cwd = snapshot_tree(kCallDir);
    for (const auto& [path, entry] : cwd)
        problems.push_back("file left in the call's working directory: " + shown(path));

    config_.restore();
    empty_directory(kCallDir);
    etc_ = snapshot_tree(kEtcChanges);
    tmp_ = tmp;
    network_ = network;
    run_ = snapshot_tree("/run");
    return problems;
}

bool sourcing_runs_something(const std::string& path)
{
    empty_directory(kSourceDir);
    const Tree runBefore = snapshot_tree("/run");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const std::string script = std::string("cd ") + kSourceDir + " && . \"$1\"";
    std::vector<std::string> words = {"timeout", "10", "bash", "-c", script, "source", path};
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, "timeout", &actions, nullptr, argv.data(), environ) == 0)
        waitpid(pid, nullptr, 0);
    posix_spawn_file_actions_destroy(&actions);
    bool ran = !snapshot_tree(kSourceDir).empty();
    for (const auto& [name, entry] : snapshot_tree("/run")) {
        if (runBefore.count(name) == 0 && name.find(kCanaryPrefix) != std::string::npos) {
            ran = true;
            unlink(("/run" + name).c_str());
        }
    }
    empty_directory(kSourceDir);
    return ran;
}

} // namespace hostile
