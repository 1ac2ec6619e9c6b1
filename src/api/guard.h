// Every public operation runs through here, once: it waits its turn (no other
// operation of this process or of another process using the library runs at
// the same time) and no exception crosses the library's interface: what the
// standard library throws inside an operation becomes a status. The steps an
// operation runs are internal functions that take neither again.
#ifndef LINNET_API_GUARD_H
#define LINNET_API_GUARD_H

#include "host/operation_lock.h"
#include "status/status.h"

#include <exception>
#include <new>
#include <utility>

// The operation's result, or the status of what it threw.
template <class Operation>
int as_status(Operation&& operation) noexcept
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return status::kNoMemory;
    } catch (...) {
        return status::kFailure;
    }
}

template <class Operation>
int guarded_as(host::LockName lock, Operation&& operation) noexcept
{
    return as_status([&] {
        host::SerialSection section(lock);
        return operation();
    });
}

template <class Operation>
int guarded(Operation&& operation) noexcept
{
    return guarded_as(host::LockName::Operations, std::forward<Operation>(operation));
}

#endif
