#include "steps.h"

#include "../library_symbols.h"
#include "../output.h"
#include "../records.h"

#include <arpa/inet.h>
#include <cstring>

namespace cli::state {

namespace {

constexpr unsigned char kEnable = 2;
constexpr unsigned char kDisable = 1;
// The flag byte of the VLAN creation call carries nothing.
constexpr unsigned char kUnusedFlag = 0;
enum Operation : uint8_t { kSet = 1, kAdd = 2, kDelete = 4 };

// A.B.C.D or A.B.C.D/P (as the plan writes them) into an address field and
// a netmask field.
void fill_address(const std::string& text, unsigned char* address, unsigned char* netmask)
{
    const size_t slash = text.find('/');
    inet_pton(AF_INET, text.substr(0, slash).c_str(), address);
    if (slash == std::string::npos || netmask == nullptr)
        return;
    const int prefix = std::stoi(text.substr(slash + 1));
    const uint32_t mask = htonl(prefix == 0 ? 0 : ~uint32_t{0} << (32 - prefix));
    memcpy(netmask, &mask, sizeof mask);
}

_NetParams params_for(uint8_t operation, const std::string& oldAddress, const std::string& newAddress)
{
    _NetParams params{};
    params.operation = operation;
    params.oldFamily = params.newFamily = kFamilyInet;
    if (!oldAddress.empty())
        fill_address(oldAddress, params.oldAddress, params.oldNetmask);
    if (!newAddress.empty())
        fill_address(newAddress, params.newAddress, params.newNetmask);
    return params;
}

int change_address(NetworkAdapter& adapter, const Step& step)
{
    _NetParams params;
    switch (step.kind) {
    case Step::kSetDhcp:
        params = params_for(kSet, "", "");
        params.useDhcp = 1;
        break;
    case Step::kSetPrimary:
        params = params_for(kSet, "", step.value);
        break;
    case Step::kAddAlias:
        params = params_for(kAdd, "", step.value);
        break;
    default:
        params = params_for(kDelete, step.value, "");
        break;
    }
    return adapter.SetAdapterIpAddress(step.interface.c_str(), &params);
}

int change_name_server(NetworkAdapter& adapter, const Step& step, const std::string& anyAdapter)
{
    const bool adding = step.kind == Step::kAddNameServer;
    _NetParams params = params_for(adding ? kAdd : kDelete, adding ? "" : step.value, adding ? step.value : "");
    return adapter.SetAdapterDns(anyAdapter.c_str(), &params);
}

int call_library(NetworkAdapter& adapter, const Step& step, const std::string& anyAdapter)
{
    const char* name = step.interface.c_str();
    switch (step.kind) {
    case Step::kCreateVlan:
        return adapter.SetVlanId(name, static_cast<unsigned short>(step.number), kUnusedFlag);
    case Step::kRemoveVlan:
        return adapter.RemoveVlan(name, static_cast<unsigned short>(step.number));
    case Step::kSetMtu:
        return adapter.SetMtu(name, step.number);
    case Step::kLinkUp:
        return adapter.DisableEnable(name, kEnable);
    case Step::kLinkDown:
        return adapter.DisableEnable(name, kDisable);
    case Step::kSetGateway: {
        _NetParams params = params_for(kSet, "", step.value);
        return adapter.SetAdapterGateway(name, &params);
    }
    case Step::kDeleteGateway:
        return _DelGateway();
    case Step::kAddNameServer:
    case Step::kDeleteNameServer:
        return change_name_server(adapter, step, anyAdapter);
    case Step::kSetPrimary:
    case Step::kSetDhcp:
    case Step::kAddAlias:
    case Step::kDeleteAlias:
        return change_address(adapter, step);
    }
    return status::kFailure;
}

} // namespace

int run_step(NetworkAdapter& adapter, const Step& step, const std::string& anyAdapter)
{
    return quietly([&] { return call_library(adapter, step, anyAdapter); });
}

} // namespace cli::state
