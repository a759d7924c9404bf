// VLANs created and removed on a shipped machine, step by step as the journal tells it.
#pragma once

#include "harness/install.h"
#include "vlan/vlan_adapter.h"

#include <initializer_list>
#include <optional>

inline const wchar_t kMachineTeam[] = L"{B0000000-0000-4000-8000-000000000001}";

inline std::wstring MachinePort(unsigned number) {
    return L"{A0000000-0000-4000-8000-00000000000" + std::to_wstring(number + 1) + L"}";
}
inline std::wstring MachineVlanGuid(unsigned number) {
    return L"{C0000000-0000-4000-8000-00000000000" + std::to_wstring(number + 1) + L"}";
}
// The GUID of the n-th virtual adapter made.
inline std::wstring NewGuid(unsigned number) {
    return L"{51560000-0000-4000-8000-00000000000" + std::to_wstring(number) + L"}";
}
inline std::wstring NetInstance(unsigned number) {
    return L"ROOT\\NET\\000" + std::to_wstring(number);
}
inline std::wstring RecordOf(const std::wstring& guid) {
    return MEMBER_RECORDS_KEY L"\\" + guid;
}
inline std::wstring DeviceName(const std::wstring& guid) {
    return L"\\Device\\" + guid;
}
inline std::wstring ConnectionOf(const std::wstring& guid) {
    return NETWORK_CONNECTIONS_KEY L"\\" + guid + L"\\Connection";
}

inline TextList Join(std::initializer_list<TextList> lists) {
    TextList all;
    for (const TextList& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

// What is read of a VLAN adapter's record, "first|second"; nothing when there is none.
inline std::optional<std::wstring> BindingOf(const std::wstring& record) {
    if (!RegistryHas(record, VALUE_VLAN_BINDING))
        return std::nullopt;
    wchar_t list[2048] = {};
    DWORD size = sizeof(list) - 2 * sizeof(wchar_t);
    EXPECT_EQ(ERROR_SUCCESS, RegGetValueW(HKEY_LOCAL_MACHINE, record.c_str(), VALUE_VLAN_BINDING,
                                          RRF_RT_REG_MULTI_SZ, nullptr, list, &size));
    std::wstring text;
    for (const wchar_t* entry = list; *entry != L'\0'; entry += wcslen(entry) + 1)
        text += (text.empty() ? L"" : L"|") + std::wstring(entry);
    return text;
}

// The journal of one installation of the n-th virtual adapter as this device.
inline TextList InstallSteps(unsigned device, unsigned number, const std::wstring& name) {
    const std::wstring id = NetInstance(device);
    return {L"device-create " + id,
            L"property-set " + id + L" HARDWAREID \"QV_QVTEAMMP\" 26 bytes",
            L"device-register " + id,
            L"device-install " + id + L" route=DiInstallDevice inf=" + OemInf(L"inf"),
            L"address-published " + id + L" 02515600AA0" + std::to_wstring(number),
            L"property-set " + id + L" FRIENDLYNAME \"" + name + L"\" 256 bytes"};
}
inline std::wstring BindingStep(const std::wstring& host, const std::wstring& list, unsigned size) {
    return L"value-set HKLM\\" + RecordOf(host) + L"\\VlanBinding REG_MULTI_SZ \"" + list + L"\" " +
           std::to_wstring(size) + L" bytes";
}
inline TextList ValueSteps(unsigned device, const std::wstring& id, const std::wstring& name) {
    const std::wstring key = L"value-set driver(" + NetInstance(device) + L")\\";
    return {key + L"VlanID REG_DWORD 0x" + id, key + L"VlanName REG_SZ \"" + name + L"\" " +
                                                   std::to_wstring((name.size() + 1) * 2) +
                                                   L" bytes"};
}
inline TextList RestartSteps(unsigned device, const std::wstring& scope = L"config") {
    return {L"device-disable " + NetInstance(device) + L" scope=" + scope,
            L"device-enable " + NetInstance(device) + L" scope=" + scope};
}

// One call; the GUID and the last error were poisoned before.
struct VlanResult {
    BOOL done = -1;
    DWORD error = 0;
    GUID guid = {};
};

class VlanTest : public MachineTest {
  protected:
    static VlanResult Create(const std::wstring& host, const std::wstring& hostName,
                             const std::wstring& vlanName, DWORD id, BOOL isTeam) {
        VlanResult got;
        GUID hostGuid = Guid(host);
        got.guid = kPoisonGuid;
        SetLastError(0xdeadbeef);
        got.done =
            CreateVlanForNics(&hostGuid, hostName.c_str(), vlanName.c_str(), id, &got.guid, isTeam);
        got.error = GetLastError();
        return got;
    }
    static VlanResult Remove(const std::wstring& host, const std::wstring& vlan, BOOL isTeam) {
        VlanResult got;
        GUID hostGuid = Guid(host);
        got.guid = Guid(vlan);
        SetLastError(0xdeadbeef);
        got.done = RemoveVlanFromNic(&hostGuid, &got.guid, isTeam);
        got.error = GetLastError();
        return got;
    }
    static TextList Steps() {
        return Lines(Changes(Journal()));
    }
    static bool HasDevice(unsigned number) {
        const TextList ids = DeviceSet().ids();
        return std::find(ids.begin(), ids.end(), NetInstance(number)) != ids.end();
    }
    static size_t Count(const std::wstring& kind) {
        return Texts(Journal(), kind).size();
    }
    // The values that tell the miniport its VLAN; "" when neither was written.
    static std::string VlanValues(unsigned device) {
        std::string text;
        const std::wstring id = NetInstance(device);
        for (const char* value : {"VlanID", "VlanName"}) {
            for (const std::string& line :
                 DumpLines(MachineDump(), "device\\" + std::string(id.begin(), id.end()) +
                                              "\\driver\\" + value + " = "))
                text += line.substr(line.find(value)) + "\n";
        }
        return text;
    }
};
