// The machine as text. Nothing that depends on time or on the order of events goes in: a device's
// driver key shows below the device, whatever number it has.
#include "machine.h"

#include "../driver/qvnic_ioctl.h"
#include "device_start.h"
#include "devices.h"
#include "files.h"
#include "layout.h"
#include "registry.h"
#include "text.h"

#include <algorithm>

using namespace qvmachine;

namespace {

std::wstring Escaped(const std::wstring& text) {
    std::wstring shown;
    for (const wchar_t c : text) {
        switch (c) {
        case L'\r':
            shown += L"\\r";
            break;
        case L'\n':
            shown += L"\\n";
            break;
        case L'\t':
            shown += L"\\t";
            break;
        case L'\0':
            shown += L"\\0";
            break;
        default:
            shown += c;
        }
    }
    return shown;
}

std::wstring AsText(const std::vector<BYTE>& data) {
    return {reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t)};
}

std::wstring SizeNote(const MachineValue& value, size_t usual) {
    return value.data.size() == usual ? L""
                                      : L" (" + std::to_wstring(value.data.size()) + L" bytes)";
}

std::wstring ShowText(const MachineValue& value) {
    std::wstring text = AsText(value.data);
    text.resize(std::min(text.find(L'\0'), text.size()));
    return L"REG_SZ \"" + Escaped(text) + L"\"" +
           SizeNote(value, (text.size() + 1) * sizeof(wchar_t));
}

std::wstring ShowMultiText(const MachineValue& value) {
    const std::wstring all = AsText(value.data);
    std::wstring shown;
    size_t start = 0;
    while (start < all.size() && all[start]) {
        const size_t end = std::min(all.find(L'\0', start), all.size());
        shown += (shown.empty() ? L"" : L"|") + Escaped(all.substr(start, end - start));
        start = end + 1;
    }
    return L"REG_MULTI_SZ \"" + shown + L"\"" + SizeNote(value, (start + 1) * sizeof(wchar_t));
}

std::wstring ShowBytes(const MachineValue& value) {
    std::wstring shown = L"type " + std::to_wstring(value.type) + L" hex:";
    for (size_t i = 0; i < value.data.size(); i++) {
        wchar_t byte[4];
        swprintf(byte, ARRAYSIZE(byte), i ? L",%02x" : L"%02x", value.data[i]);
        shown += byte;
    }
    return shown;
}

std::wstring Show(const MachineValue& value) {
    switch (value.type) {
    case REG_SZ:
        return ShowText(value);
    case REG_MULTI_SZ:
        return ShowMultiText(value);
    case REG_DWORD:
        if (value.data.size() == sizeof(DWORD)) {
            DWORD number;
            memcpy(&number, value.data.data(), sizeof number);
            return L"REG_DWORD " + Hex(number);
        }
    }
    return ShowBytes(value);
}

class Dump {
  public:
    std::string Text();

  private:
    void Fact(const std::wstring& path, const std::wstring& value) {
        lines_.push_back(path + L" = " + value);
    }
    void Values(const std::wstring& shown, const std::wstring& path,
                const std::vector<std::wstring>& only);
    void Tree(const std::wstring& shown, const std::wstring& path,
              const std::vector<std::wstring>& except = {});
    void Device(const FoundDevice& device);
    void InUse(const std::wstring& shown, const FoundDevice& device);
    void Infs();
    void NetworkConfiguration();

    std::vector<std::wstring> lines_;
};

void Dump::Values(const std::wstring& shown, const std::wstring& path,
                  const std::vector<std::wstring>& only) {
    for (const auto& value : Key::Open(path).Values()) {
        if (std::find(only.begin(), only.end(), value.name) != only.end()) {
            Fact(shown + L"\\" + value.name, Show(value));
        }
    }
}

// A key is named itself only when nothing in it is.
void Dump::Tree(const std::wstring& shown, const std::wstring& path,
                const std::vector<std::wstring>& except) {
    const Key key = Key::Open(path);
    if (!key) {
        return;
    }
    const auto values = key.Values();
    const auto subkeys = key.Subkeys();
    if (values.empty() && subkeys.empty()) {
        Fact(shown, L"key");
    }
    for (const auto& value : values) {
        if (std::find(except.begin(), except.end(), value.name) == except.end()) {
            Fact(shown + L"\\" + value.name, Show(value));
        }
    }
    for (const auto& subkey : subkeys) {
        Tree(shown + L"\\" + subkey, path + L"\\" + subkey);
    }
}

// What the device's driver has read at its last start: whether the network connections show it, and the
// current address of an adapter that is not virtual.
void Dump::InUse(const std::wstring& shown, const FoundDevice& device) {
    const std::wstring data = std::wstring(layout::kAdapters) + L"\\" + device.guid;
    if (!Key::Open(data)) {
        return;
    }
    if (Key::Open(BenchDevicePath(device.instance)).Number(layout::kPresent, 1)) {
        Fact(shown + L"\\connection", Key::Open(data).Number(kHidden, 0) ? L"hidden" : L"listed");
    }
    const std::wstring address = CurrentAddress(device.instance);
    if (!address.empty()) {
        Fact(shown + L"\\bench\\CurrentAddress", address);
    }
}

void Dump::Device(const FoundDevice& device) {
    const std::wstring shown = L"device\\" + device.instance;
    Tree(shown + L"\\enum", device.enumPath, {L"Driver"});
    if (!device.driverPath.empty()) {
        Tree(shown + L"\\driver", device.driverPath);
    }
    Values(shown + L"\\bench", BenchDevicePath(device.instance),
           {L"InstallState", kDisabled, L"Flags", layout::kPresent, L"LeftProfiles",
            L"DisabledProfiles", kStops, kPendingDisabled, kPendingRemoval});
    if (!device.guid.empty()) {
        Values(shown + L"\\bench", std::wstring(layout::kAdapters) + L"\\" + device.guid,
               {QVNIC_OPENS, QVNIC_STARTED, QVNIC_HOST_INTERFACE, kVlanInUse});
        InUse(shown, device);
        Tree(L"tcpip\\" + device.guid, std::wstring(layout::kInterfaces) + L"\\" + device.guid);
    }
    if (!device.service.empty()) {
        Values(L"service\\" + device.service,
               std::wstring(layout::kServices) + L"\\" + device.service,
               {L"ImagePath", L"Type", L"Start"});
    }
}

// FNV-1a, 32 bits: enough to tell two INFs apart.
DWORD Hash(const std::string& content) {
    DWORD hash = 0x811C9DC5;
    for (const char c : content) {
        hash = (hash ^ static_cast<BYTE>(c)) * 0x01000193;
    }
    return hash;
}

void Dump::Infs() {
    const std::wstring folder = WindowsDirectory() + L"\\inf\\";
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((folder + L"oem*.inf").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return;
    }
    do {
        std::string content;
        ReadFileBytes(folder + found.cFileName, &content);
        Fact(std::wstring(L"inf\\") + found.cFileName,
             std::to_wstring(content.size()) + L" bytes, hash " + Hex(Hash(content)));
    } while (FindNextFileW(search, &found));
    FindClose(search);
}

std::wstring Joined(const std::vector<std::wstring>& names) {
    std::wstring all;
    for (const auto& name : names) {
        all += (all.empty() ? L"" : L",") + name;
    }
    return all;
}

void Dump::NetworkConfiguration() {
    for (const auto& component : NetCfgComponents()) {
        Fact(L"component\\" + component.id, component.kind + L" \"" + component.displayName +
                                                L"\" on " + Joined(component.lowerRange) +
                                                L" offers " + Joined(component.upperRange));
    }
    for (const auto& path : NetCfgPaths()) {
        Fact(L"path\\" + path.token, path.enabled      ? L"enabled"
                                     : path.switchedOn ? L"disabled below"
                                                       : L"disabled");
    }
}

std::string Dump::Text() {
    for (const auto& device : FindNetDevices()) {
        Device(device);
    }
    Values(std::wstring(L"service\\") + layout::kMiniportService,
           std::wstring(layout::kServices) + L"\\" + layout::kMiniportService,
           {L"ImagePath", L"Type", L"Start"});
    Tree(L"qvteamp", layout::kProtocol);
    Tree(L"network", layout::kNetworkClass);
    Infs();
    NetworkConfiguration();
    std::sort(lines_.begin(), lines_.end());
    lines_.erase(std::unique(lines_.begin(), lines_.end()), lines_.end());
    std::wstring text;
    for (const auto& line : lines_) {
        text += line + L"\n";
    }
    return Narrow(text);
}

} // namespace

std::string MachineDump() {
    return Dump().Text();
}
