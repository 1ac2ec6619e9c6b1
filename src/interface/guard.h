// No exception crosses the library's interface: what the standard library
// throws inside an operation becomes a status.
#ifndef LINNET_INTERFACE_GUARD_H
#define LINNET_INTERFACE_GUARD_H

#include "status.h"

#include <exception>
#include <new>

template <class Operation>
int guarded(Operation&& operation) noexcept
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return status::kNoMemory;
    } catch (...) {
        return status::kFailure;
    }
}

#endif
