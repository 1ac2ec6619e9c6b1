// What the hostile suite watches around each call: the call itself, run in a
// child so that a crash is reported with the operation's name, and the files
// of the simulated host that no call may change.
#ifndef LINNET_TESTS_HOSTILE_HOST_WATCH_H
#define LINNET_TESTS_HOSTILE_HOST_WATCH_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace hostile {

// A buffer that ends at an inaccessible page, so reading or writing one byte
// past its end crashes the call instead of passing unseen.
class FencedBuffer {
public:
    explicit FencedBuffer(size_t size);
    // Holds the text and its NUL, the NUL as the last accessible byte.
    explicit FencedBuffer(const std::string& text);
    ~FencedBuffer();
    FencedBuffer(const FencedBuffer&) = delete;
    FencedBuffer& operator=(const FencedBuffer&) = delete;

    char* get() const { return data_; }
    size_t size() const { return size_; }

private:
    void* mapping_ = nullptr;
    size_t mappingSize_ = 0;
    char* data_ = nullptr;
    size_t size_ = 0;
};

// How a call ended.
struct Outcome {
    bool returned = false; // the operation returned a status
    int status = 0;        // that status
    std::string how;       // otherwise: the signal, time-out or exit code
};

// Runs the call in a child process whose working directory is kCallDir, with
// its standard output discarded and a time limit.
Outcome run_in_child(const std::function<int()>& call, unsigned timeLimitSeconds = 60);

// Files under a directory tree: path -> type, mode and content.
using Tree = std::map<std::string, std::string>;
Tree snapshot_tree(const std::string& root);

// The configuration directory of the family the testbed simulates.
std::string config_dir();

// The simulated host's files that calls may touch, restored after each call.
class ConfigRestore {
public:
    ConfigRestore();
    // Files new or changed since construction (configuration directory and
    // /etc/resolv.conf), before they are put back.
    std::vector<std::string> changed() const;
    void restore() const;

private:
    Tree saved_;
};

// Everything a call must leave alone: the canaries, /etc outside the
// configuration directory and resolv.conf, /tmp and /run.
class HostWatch {
public:
    HostWatch();
    // What went wrong since construction or the last check, one line each;
    // then the watch starts afresh.
    std::vector<std::string> check();
    // Configuration files the call wrote, before check() puts them back.
    std::vector<std::string> changed_config() const { return config_.changed(); }

private:
    Tree etc_;
    Tree tmp_;
    Tree run_;
    std::string network_;
    ConfigRestore config_;
};

// The live links, addresses and routes, as ip prints them.
std::string network_state();

// A configuration file as the network scripts read it: sourced by a shell.
// True when sourcing it left a file behind in a scratch directory or in /run
// (a canary), that is, when the file carries a command.
bool sourcing_runs_something(const std::string& path);

} // namespace hostile

#endif
