// Serialises the library's work across the threads of a process and across
// processes. The library shares fixed files under /tmp, the process-wide
// command buffer and each adapter object's message buffer, so two operations
// running at once would corrupt each other; with these locks they run one
// after the other, each doing exactly what it does alone.
//
// A lock is a process-wide mutex plus an advisory lock (flock) on a file
// under /run/lock, both taken by the outermost section of a thread: an
// operation that calls other operations takes them once. The lock files are
// opened close-on-exec, and a child the library makes with fork() closes them
// first thing, so no program the library starts keeps another caller waiting.
// A process forked from a caller opens the files afresh (an inherited open
// file would share the parent's turn), and fork() waits for a running
// operation, so the child never inherits a mutex held by another thread.
//
// Only a process running as root uses the lock files (mode 0600). Without a
// usable one (a caller that is not root, no /run/lock that can be made, or a
// planted file there that cannot be replaced) a section still excludes the
// other threads of the process.
#ifndef LINNET_HOST_OPERATION_LOCK_H
#define LINNET_HOST_OPERATION_LOCK_H

namespace host {

enum class LockName {
    Operations,       // every public operation
    PingOutput,       // a ping worker's run of the tool and read of its output
    TracerouteOutput, // the same for traceroute
};

class SerialSection {
public:
    explicit SerialSection(LockName name = LockName::Operations);
    ~SerialSection();
    SerialSection(const SerialSection&) = delete;
    SerialSection& operator=(const SerialSection&) = delete;

private:
    LockName name_;
};

// The lock file of a lock, for tests and tools that coordinate with callers
// of the library.
const char* lock_file_path(LockName name);

// In a child process right after fork(): closes the lock files (without
// unlocking them, which would unlock them for the parent too).
// Async-signal-safe.
void close_locks_in_child() noexcept;

} // namespace host

#endif
