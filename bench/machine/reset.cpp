// Taking a machine down, with what programs have left on it.
#include "machine.h"

#include "../driver/qvnic_ioctl.h"
#include "devices.h"
#include "driver_control.h"
#include "files.h"
#include "layout.h"
#include "registry.h"
#include "text.h"

#include <set>

using namespace qvmachine;

static void DeleteServiceKey(const std::wstring& name) {
    // The driver that answers for the adapters belongs to the bench, not to the machine.
    if (!name.empty() && !SameText(name, QVNIC_SERVICE)) {
        DeleteTree(std::wstring(layout::kServices) + L"\\" + name);
    }
}

// Every adapter that there is or was: removed virtual adapters leave traces in the other two
// places.
static std::set<std::wstring> AdapterGuids(const std::vector<FoundDevice>& devices) {
    std::set<std::wstring> guids;
    for (const auto& device : devices) {
        guids.insert(device.guid);
    }
    for (const auto* parent : {layout::kAdapters, layout::kNetworkClass}) {
        for (const auto& guid : Key::Open(parent).Subkeys()) {
            guids.insert(guid);
        }
    }
    guids.erase(L"");
    return guids;
}

static void DeleteInfs() {
    const std::wstring folder = WindowsDirectory() + L"\\inf\\";
    for (const auto* pattern : {L"oem*.inf", L"oem*.pnf", layout::kMiniportDriver}) {
        WIN32_FIND_DATAW found;
        HANDLE search = FindFirstFileW((folder + pattern).c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) {
            continue;
        }
        do {
            DeleteFileW((folder + found.cFileName).c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
}

void MachineReset() {
    const auto devices = FindNetDevices();
    for (const auto& guid : AdapterGuids(devices)) {
        DeleteTree(std::wstring(layout::kInterfaces) + L"\\" + guid);
    }
    for (const auto& device : devices) {
        RemoveNetDevice(device);
        DeleteServiceKey(device.service);
    }
    for (const auto& path : Key::Open(layout::kMachine).MultiText(layout::kExtraKeys)) {
        DeleteTree(path);
    }
    DeleteServiceKey(layout::kMiniportService);
    DeleteTree(layout::kProtocol);
    DeleteTree(layout::kClass);
    DeleteTree(layout::kNetworkClass);
    DeleteIfEmpty(layout::kNetwork);
    DeleteTree(layout::kBench);
    DeleteInfs();
    DriverSyncIfRunning();
}
