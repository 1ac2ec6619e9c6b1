#include "injector.h"

#include <cstdlib>
#include <dlfcn.h>

namespace faults {

namespace {

template <class Function>
Function entry(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

const char* action_name(Action action)
{
    switch (action) {
    case Action::Fail:
        return "fail";
    case Action::Kill:
        return "kill";
    case Action::Count:
        break;
    }
    return "count";
}

std::string joined(const std::vector<std::string>& patterns)
{
    std::string text;
    for (const std::string& pattern : patterns)
        text += (text.empty() ? "" : ":") + pattern;
    return text;
}

} // namespace

bool injector_loaded()
{
    return entry<int (*)()>("linnet_fault_arm") != nullptr;
}

bool arm(const Injection& injection)
{
    auto armInjector = entry<int (*)()>("linnet_fault_arm");
    if (armInjector == nullptr)
        return false;
    setenv("LINNET_FAULT_PATHS", joined(injection.patterns).c_str(), 1);
    setenv("LINNET_FAULT_ACTION", action_name(injection.action), 1);
    setenv("LINNET_FAULT_AT", std::to_string(injection.at).c_str(), 1);
    setenv("LINNET_FAULT_ERRNO", injection.errnoName.c_str(), 1);
    return armInjector() == 0;
}

void disarm()
{
    if (auto disarmInjector = entry<void (*)()>("linnet_fault_disarm"))
        disarmInjector();
}

long calls()
{
    auto count = entry<long (*)()>("linnet_fault_calls");
    return count != nullptr ? count() : 0;
}

bool fired()
{
    auto reached = entry<int (*)()>("linnet_fault_fired");
    return reached != nullptr && reached() != 0;
}

std::string last_fault()
{
    auto last = entry<const char* (*)()>("linnet_fault_last");
    return last != nullptr ? last() : "";
}

std::string trace()
{
    auto text = entry<const char* (*)()>("linnet_fault_trace");
    return text != nullptr ? text() : "";
}

} // namespace faults
