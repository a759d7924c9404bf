#include "harness/ports.h"

#include "include/names.h"
#include "inventory/tables.h"

#include <algorithm>
#include <objbase.h>

const wchar_t kSimpleMachine[] = L"two-ports";
const wchar_t kDeployedMachine[] = L"windows-10";

static const wchar_t kModel[] = L"port0";
static const wchar_t kInboxGuid[] = L"{A1000000-"; // begin of those that Windows brings itself
// The GUID of a port without its last four digits, which number it.
static const wchar_t kPortGuid[] = L"{A0000000-0000-4000-8000-00000000";

static MachineAdapter Numbered(const MachineAdapter& model, int number) {
    wchar_t tail[16];
    MachineAdapter port = model;
    port.name = L"port" + std::to_wstring(number);
    swprintf(tail, ARRAYSIZE(tail), L"%02X", 8 + number * 8);
    port.instance.replace(port.instance.size() - 2, 2, tail);
    swprintf(tail, ARRAYSIZE(tail), L"%04X}", number + 1);
    port.guid = kPortGuid + std::wstring(tail);
    port.friendlyName = L"Port " + std::to_wstring(number);
    return port;
}

bool LoadWithPorts(const std::wstring& file, int count, Machine* machine) {
    Machine loaded;
    std::wstring error;
    if (!MachineLoad(file, &loaded, &error) || loaded.FindAdapter(kModel) == nullptr) {
        fprintf(stderr, "%ls: no machine with a port0. %ls\n", file.c_str(), error.c_str());
        return false;
    }
    const MachineAdapter model = *loaded.FindAdapter(kModel);
    const MachineAdapter* second = loaded.FindAdapter(L"port1");
    const std::vector<std::wstring> unbound =
        second != nullptr ? second->unbound : std::vector<std::wstring>();
    auto& adapters = loaded.adapters;
    adapters.erase(std::remove_if(adapters.begin(), adapters.end(),
                                  [&](const MachineAdapter& adapter) {
                                      return adapter.present && !adapter.phantom &&
                                             adapter.provider == model.provider;
                                  }),
                   adapters.end());
    for (int number = 0; number < count; number++)
        adapters.insert(adapters.begin() + number, Numbered(model, number));
    if (count > 1)
        adapters[1].unbound = unbound;
    *machine = loaded;
    return true;
}

static bool GuidBegins(int row, const wchar_t* begin) {
    wchar_t guid[GUID_CCH];
    StringFromGUID2(g_nics[row].guid, guid, GUID_CCH);
    return std::wstring(guid).find(begin) == 0;
}

bool IsPortRow(int row) {
    return GuidBegins(row, kPortGuid);
}

bool IsInboxRow(int row) {
    return GuidBegins(row, kInboxGuid);
}

bool IsInbox(const MachineAdapter& adapter) {
    return adapter.guid.find(kInboxGuid) == 0;
}
