// Every operation that writes a configuration file (a row of operations.txt),
// run as the application calls it: once without faults, then with each of
// its file-system calls failed (EIO, ENOSPC) or killed in turn, on a full and
// on a read-only file system, and with the files it changes bind-mounted from
// elsewhere. Each existing file carries an SELinux label, a user attribute, a
// foreign owner and the nodump flag, its directory a default ACL. After every
// run each file is, bytes, mode, owner and attributes, the one before or the
// one the run without faults left; nothing else is left in the directory or
// in /tmp; a failure is reported as 98.
#include <gtest/gtest.h>

#include "dhcp/dhcp.h"
#include "gateway/gateway.h"
#include "ifcfg/distro.h"
#include "link/link_control.h"
#include "mxlinnet.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <linux/fs.h>
#include <map>
#include <set>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

enum Action { kCount = 1, kFail = 2, kKill = 3 };
constexpr int kUnwritable = 98;
constexpr char kLabel[] = "system_u:object_r:net_conf_t:s0";
constexpr uid_t kOwner = 1234;

const std::string kFamily = getenv("LINNET_TESTBED") != nullptr ? getenv("LINNET_TESTBED") : "";

// An entry point of the injector (fault_injector.c), preloaded.
template <class Function>
Function injected(const char* name)
{
    auto function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
    if (function == nullptr)
        throw std::runtime_error("run with LD_PRELOAD naming the fault injector");
    return function;
}

// ---- The rows.

struct Row {
    std::string name;
    std::vector<std::string> call, files;
    std::string setUp, undo, options;
    bool has(const std::string& word) const { return (options + " ").find(" " + word + " ") != std::string::npos; }
};

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::vector<std::string> words(const std::string& text)
{
    std::istringstream in(text);
    std::vector<std::string> list;
    for (std::string word; in >> word;)
        list.push_back(word);
    return list;
}

std::vector<Row> rows_of_this_family()
{
    const std::string dir = kFamily == "suse" ? "/etc/sysconfig/network" : "/etc/sysconfig/network-scripts";
    std::map<std::string, std::string> named;
    std::vector<Row> rows;
    std::ifstream in(LINNET_FAULT_OPERATIONS);
    for (std::string line; std::getline(in, line);) {
        for (const auto& [name, commands] : named)
            line = replaced(line, "@" + name, commands);
        line = replaced(line, "$DIR", dir);
        if (line.rfind('@', 0) == 0)
            named[line.substr(1, line.find(" = ") - 1)] = line.substr(line.find(" = ") + 3);
        std::istringstream cells(line);
        std::vector<std::string> cell;
        for (std::string text; std::getline(cells, text, '|');)
            cell.push_back(text);
        cell.resize(7);
        if (line.empty() || line[0] == '#' || line[0] == '@' || !std::set<std::string>{"redhat", "suse"}.count(kFamily)
            || (" " + cell[1] + " ").find(" " + kFamily + " ") == std::string::npos)
            continue;
        rows.push_back({words(cell[0])[0], words(cell[2]), words(cell[3]), cell[4], cell[5], " " + cell[6]});
        rows.back().files.push_back("/tmp/");
    }
    return rows;
}

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

// ---- The library call of a row.

_NetParams request(const std::string& operation, const std::string& oldAddress, const std::string& newAddress)
{
    _NetParams params{};
    params.operation = static_cast<uint8_t>(atoi(operation.c_str()));
    params.oldFamily = params.newFamily = 2;
    const unsigned char mask[4] = {255, 255, 255, 0};
    if (inet_pton(AF_INET, oldAddress.c_str(), params.oldAddress) == 1)
        memcpy(params.oldNetmask, mask, sizeof mask);
    if (inet_pton(AF_INET, newAddress.c_str(), params.newAddress) == 1)
        memcpy(params.newNetmask, mask, sizeof mask);
    return params;
}

int call(std::vector<std::string> words)
{
    words.resize(5, "-");
    const std::string& what = words[0];
    char* name = &words[1][0];
    char* second = &words[2][0];
    if (what == "enable-on-boot")
        return EnableDeviceConfFile(name, reinterpret_cast<unsigned char*>(second));
    if (what == "disable-on-boot")
        return DisableDeviceConfFile(name, reinterpret_cast<unsigned char*>(second));
    if (what == "gateway-in-file")
        return add_mod_gw_entry_conf_file(name, second);
    if (what == "dhcp-in-file") {
        _NetworkDevice device{};
        snprintf(device.ifName, sizeof device.ifName, "%s", name);
        snprintf(device.macAddrStr, sizeof device.macAddrStr, "%s", second);
        return change_to_dhcp_in_configfile(kFamily == "suse" ? kDistroSuse : kDistroRedHat, &device);
    }
    NetworkAdapter adapter;
    _NetParams params = request(words[2], words[3], words[4]);
    if (what == "set-address")
        return adapter.SetAdapterIpAddress(name, &params);
    if (what == "set-dns")
        return adapter.SetAdapterDns(name, &params);
    if (what == "mtu-in-file")
        return adapter.SetMTUInConfigFile(name, second, std::stoul(words[3]));
    if (what == "vlan-add")
        return adapter.SetVlanId(name, std::stoi(second), 0);
    if (what == "vlan-remove")
        return adapter.RemoveVlan(name, std::stoi(second));
    throw std::runtime_error("no library call named " + what);
}

// ---- Files: path -> "MODE LINKS OWNER LABEL ATTRIBUTE [acl] [nodump]" line, then the bytes.

using Files = std::map<std::string, std::string>;

int inode_flags(const std::string& path, int set = -1)
{
    int flags = 0;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ioctl(fd, FS_IOC_GETFLAGS, &flags);
    if (set >= 0) {
        flags = (flags & ~FS_NODUMP_FL) | set;
        ioctl(fd, FS_IOC_SETFLAGS, &flags);
    }
    close(fd);
    return flags;
}

std::string state_of(const std::string& path, const struct stat& info)
{
    char label[64] = {}, user[256] = {};
    getxattr(path.c_str(), "security.selinux", label, sizeof label - 1);
    getxattr(path.c_str(), "user.linnet", user, sizeof user - 1);
    std::ostringstream state;
    state << std::oct << (info.st_mode & 07777) << std::dec << ' ' << info.st_nlink << ' ' << info.st_uid << ':'
          << info.st_gid << ' ' << label << ' ' << user
          << (getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0 ? " acl" : "")
          << (inode_flags(path) & FS_NODUMP_FL ? " nodump" : "") << '\n'
          << std::ifstream(path, std::ios::binary).rdbuf();
    return state.str();
}

// The regular files directly in DIR whose names start with NAME, for each
// pattern DIR/NAME.
Files snapshot(const std::vector<std::string>& patterns)
{
    Files files;
    for (const std::string& pattern : patterns) {
        const std::string dir = pattern.substr(0, pattern.rfind('/')), prefix = pattern.substr(pattern.rfind('/') + 1);
        DIR* listing = pattern[0] == '=' ? nullptr : opendir(dir.c_str());
        for (dirent* entry; listing != nullptr && (entry = readdir(listing)) != nullptr;) {
            const std::string path = dir + "/" + entry->d_name;
            struct stat info {};
            if (std::string(entry->d_name).rfind(prefix, 0) == 0 && lstat(path.c_str(), &info) == 0
                && S_ISREG(info.st_mode))
                files[path] = state_of(path, info);
        }
        if (listing != nullptr)
            closedir(listing);
    }
    return files;
}

void restore(const std::vector<std::string>& patterns, const Files& wanted)
{
    for (const auto& [path, state] : snapshot(patterns)) {
        if (wanted.count(path) == 0)
            unlink(path.c_str());
    }
    for (const auto& [path, state] : wanted) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << state.substr(state.find('\n') + 1);
        chmod(path.c_str(), std::stoul(state, nullptr, 8));
    }
}

// What a real host gives its files: new files in the directory inherit a
// default ACL naming user 1234 (masked to 0644), which the old ones lack.
void mark(const std::string& dir, const Files& files)
{
    struct Entry {
        uint16_t tag, perm;
        uint32_t id;
    };
    const uint32_t none = 0xffffffff;
    const struct {
        uint32_t version = 2;
        Entry entries[5] = {{0x01, 6, none}, {0x02, 6, kOwner}, {0x04, 4, none}, {0x10, 4, none}, {0x20, 4, none}};
    } acl{};
    setxattr(dir.c_str(), "system.posix_acl_default", &acl, sizeof acl, 0);
    for (const auto& [path, state] : files) {
        setxattr(path.c_str(), "security.selinux", kLabel, sizeof kLabel, 0);
        setxattr(path.c_str(), "user.linnet", path.data(), path.size(), 0);
        chown(path.c_str(), kOwner, kOwner);
        inode_flags(path, FS_NODUMP_FL);
    }
}

struct Outcome {
    int old = 0;     // files the operation changes, still as before
    int renewed = 0; // files as the run without faults left them
    std::string broken;
    std::vector<std::string> strays; // files neither run has
};

std::string state(const Files& files, const std::string& path)
{
    auto found = files.find(path);
    return found != files.end() ? found->second : "(missing)";
}

Outcome compare(const Files& before, const Files& expected, const Files& now)
{
    Files all = now;
    all.insert(before.begin(), before.end());
    all.insert(expected.begin(), expected.end());
    Outcome outcome;
    for (const auto& [path, any] : all) {
        const std::string was = state(before, path), will = state(expected, path), is = state(now, path);
        if (before.count(path) + expected.count(path) == 0)
            outcome.strays.push_back(path);
        else if (is == was)
            outcome.old += was != will ? 1 : 0;
        else if (is == will)
            ++outcome.renewed;
        else
            outcome.broken += "\n" + path + " holds \"" + is + "\", was \"" + was + "\", expected \"" + will + "\"";
    }
    return outcome;
}

bool shell(const std::string& commands)
{
    return commands.empty() || system(commands.c_str()) == 0;
}

class FaultWalk : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        for (const std::string& pattern : row().files)
            patterns_ += (patterns_.empty() ? "" : ":") + pattern;
        pristine_ = snapshot(row().files);
        ASSERT_FALSE(pristine_.empty()) << dir_;
        // The run without faults: the files as the operation leaves them, and
        // how many calls the walk visits.
        before_ = reset();
        const int status = run(kCount);
        points_ = injected<long (*)()>("linnet_fault_calls")();
        expected_ = snapshot(row().files);
        ASSERT_EQ(0, status) << "without faults";
        ASSERT_NE(before_, expected_) << "the operation changes a file";
        ASSERT_GT(points_, 0) << "the injector sees the operation's calls";
        for (const auto& [path, state] : before_) {
            if (expected_.count(path) != 0) {
                EXPECT_EQ(state.substr(0, state.find('\n')), expected_[path].substr(0, expected_[path].find('\n')))
                    << path << " lost its links, owner, mode, label or attributes, or took the directory's";
            }
        }
    }

    void TearDown() override
    {
        removexattr(dir_.c_str(), "system.posix_acl_default");
        if (!pristine_.empty())
            restore(row().files, pristine_);
        shell(row().undo);
    }

    const Row& row() const { return GetParam(); }

    // The host as the operation expects to find it, arranged as `arrange`
    // says, its files marked; returns them.
    Files reset(const std::string& arrange = "")
    {
        removexattr(dir_.c_str(), "system.posix_acl_default");
        restore(row().files, pristine_);
        EXPECT_TRUE(shell(row().setUp)) << row().setUp;
        mark(dir_, snapshot(row().files)); // before a read-only mount, and again on a copy or a bound file
        EXPECT_TRUE(shell(arrange)) << arrange;
        mark(dir_, snapshot(row().files));
        return snapshot(row().files);
    }

    int run(Action action, long at = 0, int error = 0)
    {
        injected<int (*)(const char*, int, long, int)>("linnet_fault_arm")(patterns_.c_str(), action, at, error);
        const int status = call(row().call);
        injected<void (*)()>("linnet_fault_disarm")();
        return status;
    }

    // One run without faults on the host arranged by the shell commands
    // `arrange`, undone by `undo` before the files are compared.
    Outcome arranged_run(const std::string& arrange, const std::string& undo, int& status)
    {
        const Files before = reset(arrange);
        EXPECT_EQ(before_, before) << "the arranged host holds the same files";
        status = run(kCount);
        const Files now = snapshot(row().files);
        shell(undo);
        return compare(before, expected_, now);
    }

    // The walk's checks of one run; `killed` when the run was cut short.
    void check(const Files& before, const Files& now, int status, bool killed, const std::string& faulted)
    {
        const Outcome outcome = compare(before, expected_, now);
        EXPECT_EQ("", outcome.broken);
        for (const std::string& stray : outcome.strays) {
            if (killed)
                EXPECT_EQ(std::string::npos, stray.find("ifcfg-")) << stray << " is read as an interface file";
            else
                EXPECT_TRUE(faulted == "unlink:" + stray || row().has("stray-after=" + faulted)) << "left " << stray;
        }
        if (killed)
            return;
        const bool own = on_own_file(faulted);
        if (faulted.empty() || (own && row().has("ignored"))) {
            EXPECT_EQ(0, status);
        }
        if (status == 0 && (faulted.empty() || !row().has("ignored"))) {
            EXPECT_EQ(0, outcome.old) << "success reported, yet a file is as before";
        }
        if (status != 0) {
            EXPECT_EQ(0, outcome.renewed) << "failure reported, yet a file was written";
            EXPECT_TRUE(!own || status == kUnwritable) << "status " << status;
        }
    }

    // Whether the failed call was on one of the row's files, not on a file in
    // /tmp the library reads the system's state from.
    bool on_own_file(const std::string& faulted) const
    {
        const std::string path = faulted.substr(faulted.find(':') + 1);
        for (size_t i = 0; i + 1 < row().files.size(); ++i) {
            if (path.rfind(row().files[i].substr(row().files[i][0] == '='), 0) == 0)
                return true;
        }
        return false;
    }

    const std::string dir_ = row().files[0].substr(0, row().files[0].rfind('/'));
    std::string patterns_;
    Files pristine_, before_, expected_;
    long points_ = 0;
};

TEST_P(FaultWalk, EveryCallFailed)
{
    std::ostringstream tally;
    for (int error : {EIO, ENOSPC}) {
        std::map<int, int> statuses;
        for (long n = 1; n <= points_; ++n) {
            const Files before = reset();
            const int status = run(kFail, n, error);
            const std::string faulted = injected<const char* (*)()>("linnet_fault_last")();
            SCOPED_TRACE(strerrorname_np(error) + std::string(" at call ") + std::to_string(n) + " (" + faulted
                         + "), status " + std::to_string(status));
            ASSERT_NE("", faulted) << "the same run reaches the same calls";
            check(before, snapshot(row().files), status, false, faulted);
            ++statuses[status];
        }
        tally << ", " << strerrorname_np(error) << ":";
        for (const auto& [status, times] : statuses)
            tally << " status " << status << " x" << times;
    }
    printf("[walk] %s %s: %ld calls%s\n", kFamily.c_str(), row().name.c_str(), points_, tally.str().c_str());
}

TEST_P(FaultWalk, KilledAtEveryCall)
{
    if (row().has("in-place"))
        GTEST_SKIP() << "a file rewritten in place is broken by a kill in the middle";
    long killed = 0;
    for (long n = 1; n <= points_ + 1; ++n) {
        const Files before = reset();
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0)
            _exit(run(kKill, n) == 0 ? 0 : 1);
        int waited = 0;
        waitpid(child, &waited, 0);
        const bool wasKilled = WIFSIGNALED(waited) && WTERMSIG(waited) == SIGKILL;
        killed += wasKilled ? 1 : 0;
        SCOPED_TRACE("killed at call " + std::to_string(n));
        check(before, snapshot(row().files), WIFEXITED(waited) ? WEXITSTATUS(waited) : -1, wasKilled, "");
    }
    EXPECT_EQ(points_, killed) << "a kill at each call, and a last run that completes";
}

TEST_P(FaultWalk, FullFileSystem)
{
    const std::string copy = "/run/faults-copy", filler = dir_ + "/.faults-filler";
    int status = 0;
    const Outcome outcome = arranged_run(
        "rm -rf " + copy + " && cp -a " + dir_ + " " + copy + " && mount -t tmpfs -o size=$(($(du -sk " + copy
            + " | cut -f1) + 256))k tmpfs " + dir_ + " && cp -a " + copy + "/. " + dir_ + " && rm -rf " + copy
            + " && mkdir " + filler + " && { cat /dev/zero >" + filler + "/filler 2>/dev/null; true; }",
        "umount -l " + dir_, status);
    // A full file system still takes bytes within a file's last page, so an
    // in-place rewrite that fits there completes.
    const bool completes = row().has("removes") || (row().has("in-place") && status == 0);
    EXPECT_EQ(completes || row().has("ignored") ? 0 : kUnwritable, status);
    EXPECT_EQ(0, completes ? outcome.old : outcome.renewed);
    EXPECT_EQ("", outcome.broken);
    EXPECT_TRUE(outcome.strays.empty()) << outcome.strays[0];
}

TEST_P(FaultWalk, ReadOnlyFileSystem)
{
    // The library opens /etc/issue for writing to tell the family.
    const bool etc = dir_ == "/etc";
    int status = 0;
    const Outcome outcome =
        arranged_run("mount --bind " + dir_ + " " + dir_ + " && mount -o remount,bind,ro " + dir_
                         + (etc ? " && mount --bind /etc/issue /etc/issue" : ""),
                     (etc ? "umount -l /etc/issue; " : "") + std::string("umount -l ") + dir_, status);
    EXPECT_EQ(row().has("ignored") ? 0 : kUnwritable, status);
    EXPECT_EQ(0, outcome.renewed);
    EXPECT_EQ("", outcome.broken);
    EXPECT_TRUE(outcome.strays.empty()) << outcome.strays[0];
}

// As /etc/resolv.conf is in a container, and an ifcfg file bound into one: a
// rename cannot replace a mount point, so the file is written in place.
TEST_P(FaultWalk, BindMountedFilesEditedInPlace)
{
    if (row().has("in-place"))
        GTEST_SKIP() << "the file is rewritten in place already";
    std::string bind = "true", unbind;
    for (const auto& [path, state] : before_) {
        if (expected_.count(path) != 0 && expected_[path] != state) {
            const std::string source = "/run/faults-bound-" + std::to_string(unbind.size());
            bind += " && cp '" + path + "' " + source + " && mount --bind " + source + " '" + path + "'";
            unbind += "umount -l '" + path + "'; ";
        }
    }
    if (unbind.empty())
        GTEST_SKIP() << "it changes no existing file";
    int status = 0;
    const Outcome outcome = arranged_run(bind, unbind, status);
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, outcome.old) << "a bound file kept its old content";
    EXPECT_EQ("", outcome.broken);
    EXPECT_TRUE(outcome.strays.empty()) << outcome.strays[0];
}

INSTANTIATE_TEST_SUITE_P(Operations, FaultWalk, testing::ValuesIn(rows_of_this_family()),
                         [](const testing::TestParamInfo<Row>& info) { return info.param.name; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FaultWalk);

} // namespace
