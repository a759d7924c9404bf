#include "set_state.h"

#include <map>

#include "lock.h"

namespace bench {

namespace {

struct SetData {
    std::map<DWORD, DeviceState> devices;
    bool hasSelected;
    SP_DEVINFO_DATA selected;
};

SRWLOCK g_lock = SRWLOCK_INIT;
std::map<HDEVINFO, SetData>& g_sets = *new std::map<HDEVINFO, SetData>;

DWORD Index(const SP_DEVINFO_DATA* device) {
    return device ? device->DevInst : 0;
}

} // namespace

DeviceState GetState(HDEVINFO set, const SP_DEVINFO_DATA* device) {
    Guard guard(&g_lock);
    return g_sets[set].devices[Index(device)];
}

void SetState(HDEVINFO set, const SP_DEVINFO_DATA* device, const DeviceState& state) {
    Guard guard(&g_lock);
    g_sets[set].devices[Index(device)] = state;
}

void SelectDevice(HDEVINFO set, const SP_DEVINFO_DATA& device) {
    Guard guard(&g_lock);
    g_sets[set].hasSelected = true;
    g_sets[set].selected = device;
}

bool SelectedDevice(HDEVINFO set, SP_DEVINFO_DATA* device) {
    Guard guard(&g_lock);
    auto found = g_sets.find(set);
    if (found == g_sets.end() || !found->second.hasSelected)
        return false;
    *device = found->second.selected;
    return true;
}

std::vector<DeviceState> UnreadStates(HDEVINFO set) {
    std::vector<DeviceState> unread;
    Guard guard(&g_lock);
    auto found = g_sets.find(set);
    if (found == g_sets.end())
        return unread;
    for (const auto& device : found->second.devices)
        if (!device.second.unread.empty())
            unread.push_back(device.second);
    return unread;
}

void ForgetSet(HDEVINFO set) {
    Guard guard(&g_lock);
    g_sets.erase(set);
}

} // namespace bench
