// Ping and traceroute: a worker thread runs the tool, reads its output and
// publishes the result in the caller's SharedMem area.
#include "diagnostics.h"

#include "hop_record.h"
#include "host/command_runner.h"
#include "host/fixed_file.h"
#include "host/operation_lock.h"
#include "api/conversions.h"
#include "api/guard.h"
#include "status/status.h"
#include "ping_text.h"
#include "traceroute_text.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <string>
#include <unistd.h>

namespace {

// The command texts fit the callers' buffers of this size.
constexpr size_t kCommandBufSize = 240;
constexpr size_t kTargetSize = sizeof(ThreadParams::target);
constexpr size_t kIpv4Bytes = 4;

enum AddressType : uint8_t { kBinaryIpv4 = 1, kIpv6 = 2, kTextAddress = 3, kTextName = 4 };

constexpr int kStartFailed = 1;
constexpr int kNotRun = -1;

bool runs_tool(uint8_t type)
{
    return type == kBinaryIpv4 || type == kTextAddress || type == kTextName;
}

void* exit_value(int status)
{
    // The thread's exit value carries its status, as the worker always has.
    return reinterpret_cast<void*>(static_cast<intptr_t>(status)); // NOLINT(performance-no-int-to-ptr)
}

// The caller polls the area without any lock: each store below reaches it in
// program order, after everything written before it.
volatile SharedMem* shared(SharedMem* area)
{
    std::atomic_thread_fence(std::memory_order_release);
    return area;
}

void begin_work(SharedMem* area)
{
    shared(area)->busy = 1;
    shared(area)->busy = 0;
    shared(area)->done = 0;
}

// Copies the target text into the parameter block, always NUL-terminated.
void set_target(ThreadParams* params, const char* text)
{
    if (text != nullptr)
        memcpy(params->target, text, strnlen(text, kTargetSize - 1));
}

int start_worker(void* (*body)(void*), ThreadParams* params)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    // Nobody joins the worker: it owns its parameters and ends on its own.
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int error = pthread_create(&thread, &attributes, body, params);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        free(params);
        puts("CreateThread() failed");
        return kStartFailed;
    }
    return 0;
}

ThreadParams* new_params(uint8_t addrType, SharedMem* shm)
{
    auto* params = static_cast<ThreadParams*>(calloc(1, sizeof(ThreadParams)));
    if (params != nullptr) {
        params->addrType = addrType;
        params->shm = shm;
    }
    return params;
}

// Runs the command with its standard output in a freshly created `path`.
int run_into_file(const host::Command& command, char* cmdbuf, const char* path)
{
    if (cmdbuf != nullptr)
        snprintf(cmdbuf, kCommandBufSize, "%s", command.text().c_str());
    if (path == nullptr)
        return kNotRun;
    int fd = host::create_fixed_file(path);
    if (fd < 0)
        return kNotRun;
    int status = host::run_into(command, fd);
    int startError = errno;
    close(fd);
    // -1 with ECHILD: the tool ran, but SIGCHLD is ignored in this process.
    if (status == -1 && startError != ECHILD) {
        errno = startError;
        perror("popen");
        return kNotRun;
    }
    return 0;
}

// The tool's captured output; false (and the message) when it cannot be read.
bool read_output(const char* path, std::string& output)
{
    if (path == nullptr || !host::read_fixed_file(path, output)) {
        puts("error opening the file.");
        return false;
    }
    return true;
}

} // namespace

namespace {

// The worker's parameter block with its target: a binary IPv4 address as
// dotted text, else the caller's text, read no further than `textLimit`
// characters. Null when the block cannot be had.
ThreadParams* params_for(const void* address, unsigned char addrType, SharedMem* shm, size_t textLimit)
{
    if (shm == nullptr)
        return nullptr;
    ThreadParams* params = new_params(addrType, shm);
    if (params == nullptr)
        return nullptr;
    char text[kAddressTextSize] = {};
    if (address != nullptr && addrType == kBinaryIpv4) {
        unsigned char bytes[kIpv4Bytes];
        memcpy(bytes, address, sizeof bytes);
        ConvertDataToString(bytes, text, 2);
    } else if (address != nullptr) {
        memcpy(text, address, strnlen(static_cast<const char*>(address), textLimit));
    }
    set_target(params, text);
    return params;
}

} // namespace

int NetworkAdapter::Ping(const void* address, unsigned char addrType, unsigned char count, unsigned long timeoutMs,
                         SharedMem* shm)
{
    const host::SerialSection section;
    ThreadParams* params = params_for(address, addrType, shm, kAddressTextSize - 1);
    if (params == nullptr)
        return kStartFailed;
    params->count = count;
    params->timeoutMs = timeoutMs;
    return start_worker(Thread_Ping, params);
}

int NetworkAdapter::TraceRoute(const void* address, unsigned char addrType, SharedMem* shm)
{
    const host::SerialSection section;
    // The target field's worth of text, read no further than its end.
    ThreadParams* params = params_for(address, addrType, shm, kTargetSize - 1);
    if (params == nullptr)
        return kStartFailed;
    return start_worker(Thread_TraceRoute, params);
}

namespace {

// The caller's area a worker publishes into; a block without one is freed
// and the worker ends.
SharedMem* claim_area(ThreadParams* params)
{
    if (params == nullptr)
        return nullptr;
    SharedMem* area = params->shm;
    if (area == nullptr)
        free(params);
    return area;
}

// The deadline goes out as an int, as the command text shows it.
int run_ping(char* cmdbuf, const char* path, const char* target, unsigned char count, unsigned long timeoutSec)
{
    host::Command command =
        host::Command::format("ping %s -c %d -w %d", target, static_cast<int>(count), static_cast<int>(timeoutSec));
    return run_into_file(command, cmdbuf, path);
}

int run_traceroute(char* cmdbuf, const char* path, const char* target)
{
    return run_into_file(host::Command::format("traceroute -4 -n %s", target), cmdbuf, path);
}

int read_ping_response(const char* path, _PingResponse* out)
{
    std::string output;
    if (!read_output(path, output))
        return kNotRun;
    diag::read_ping_output(output, out);
    return 0;
}

int read_traceroute_response(const char* path, ThreadParams* params)
{
    std::string output;
    if (!read_output(path, output))
        return kNotRun;
    if (params != nullptr)
        diag::read_traceroute_output(output, params->shm);
    return 0;
}

// The worker's own copy of the target, always NUL-terminated.
void copy_target(const ThreadParams* params, char (&target)[kTargetSize])
{
    memcpy(target, params->target, sizeof target);
    target[kTargetSize - 1] = '\0';
}

} // namespace

void* Thread_Ping(void* argument)
{
    auto* params = static_cast<ThreadParams*>(argument);
    SharedMem* area = claim_area(params);
    if (area == nullptr)
        return exit_value(status::kFailure);
    begin_work(area);
    const unsigned char count = diag::echo_count(params->count);
    const unsigned long deadline = diag::deadline_seconds(params->timeoutMs);
    const uint8_t type = params->addrType;
    char target[kTargetSize];
    copy_target(params, target);
    free(params);
    _PingResponse response{};
    guarded_as(host::LockName::PingOutput, [&] {
        if (runs_tool(type)) {
            char command[kCommandBufSize] = {};
            // Each step's failure is its own: the output file goes in any case.
            as_status([&] { return run_ping(command, kPingOutputPath, target, count, deadline); });
            as_status([&] { return read_ping_response(kPingOutputPath, &response); });
        }
        // Gone before the result shows, so that the caller's next ping,
        // started as soon as it sees the result, never loses its output file
        // to us; gone too when no tool ran, so that no earlier run's output
        // outlives this one.
        host::remove_fixed_file(kPingOutputPath);
        return 0;
    });
    // IPv6: nothing is published, the caller's wait ends by its own time-out.
    if (type == kIpv6)
        return exit_value(status::kIpv6Unsupported);

    memcpy(area->data, &response, sizeof response);
    shared(area)->busy = 1;
    shared(area)->dataLength = sizeof response;
    shared(area)->busy = 0;
    shared(area)->status = 0;
    shared(area)->done = 1;
    shared(area)->resultKind = diag::kPingResult;
    return exit_value(status::kSuccess);
}

void* Thread_TraceRoute(void* argument)
{
    auto* params = static_cast<ThreadParams*>(argument);
    SharedMem* area = claim_area(params);
    if (area == nullptr)
        return exit_value(status::kFailure);
    begin_work(area);
    const uint8_t type = params->addrType;
    char target[kTargetSize];
    copy_target(params, target);
    guarded_as(host::LockName::TracerouteOutput, [&] {
        if (runs_tool(type)) {
            char command[kCommandBufSize] = {};
            as_status([&] { return run_traceroute(command, kTracerouteOutputPath, target); });
            as_status([&] { return read_traceroute_response(kTracerouteOutputPath, params); });
        }
        // Removed whether or not the tool ran: no earlier run's output
        // outlives this one.
        host::remove_fixed_file(kTracerouteOutputPath);
        return 0;
    });
    free(params);
    const int result = type == kIpv6 ? status::kIpv6Unsupported : status::kSuccess;

    // An IPv6 request is published too, with no hop.
    shared(area)->busy = 1;
    shared(area)->busy = 0;
    shared(area)->status = 0;
    shared(area)->done = 1;
    shared(area)->resultKind = diag::kTraceRouteResult;
    return exit_value(result);
}

int execute_ping_cmd(char* cmdbuf, const char* path, char* target, unsigned char count, unsigned long timeoutSec)
{
    return guarded_as(host::LockName::PingOutput, [&] { return run_ping(cmdbuf, path, target, count, timeoutSec); });
}

int execute_traceroute_cmd(char* cmdbuf, const char* path, const char* target)
{
    return guarded_as(host::LockName::TracerouteOutput, [&] { return run_traceroute(cmdbuf, path, target); });
}

int parse_fill_ping_response(const char* path, _PingResponse* out)
{
    return guarded_as(host::LockName::PingOutput, [&] { return read_ping_response(path, out); });
}

int parse_fill_traceroute_response(const char* path, ThreadParams* params)
{
    return guarded_as(host::LockName::TracerouteOutput, [&] { return read_traceroute_response(path, params); });
}
