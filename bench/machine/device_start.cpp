#include "device_start.h"

#include "../driver/qvnic_ioctl.h"
#include "devices.h"
#include "layout.h"
#include "registry.h"
#include "text.h"

#include <netcfgx.h>

#include <algorithm>
#include <cwchar>
#include <vector>

namespace qvmachine {

static const wchar_t kPermanentAddressOid[] = L"0x01010101";
static const wchar_t kCurrentAddressOid[] = L"0x01010102";
static const wchar_t kNetworkAddress[] = L"NetworkAddress";
static const wchar_t kVirtualGuidStart[] = L"{51560000-0000-4000-8000-";
static const size_t kAddressDigits = 12;

// Where a device and its adapter are kept.
struct Adapter {
    std::wstring driver; // paths under HKEY_LOCAL_MACHINE
    std::wstring device; // of the bench
    std::wstring data;   // of the bench; "" for a device without NetCfgInstanceId
    std::wstring answers;
    std::wstring guid;
    bool isMiniport = false;
};

static Adapter Find(const std::wstring& instance) {
    Adapter adapter;
    adapter.device = BenchDevicePath(instance);
    const Key key = Key::Open(std::wstring(layout::kEnum) + L"\\" + instance);
    const std::wstring driver = key.Text(L"Driver");
    if (driver.empty()) {
        return adapter;
    }
    for (const auto& id : key.MultiText(L"HardwareID")) {
        adapter.isMiniport = adapter.isMiniport || SameText(id, layout::kMiniportHardwareId);
    }
    adapter.driver = std::wstring(layout::kClasses) + L"\\" + driver;
    adapter.guid = Key::Open(adapter.driver).Text(L"NetCfgInstanceId");
    if (!adapter.guid.empty()) {
        adapter.data = std::wstring(layout::kAdapters) + L"\\" + adapter.guid;
        adapter.answers = adapter.data + L"\\" QVNIC_ANSWERS;
    }
    return adapter;
}

static std::vector<BYTE> AddressBytes(const std::wstring& text) {
    const ULONGLONG number = wcstoull(text.c_str(), nullptr, 16);
    std::vector<BYTE> bytes;
    for (int shift = 40; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<BYTE>(number >> shift));
    }
    return bytes;
}

// A text of any other form is ignored (unverified).
static bool IsAddress(const std::wstring& text) {
    return text.size() == kAddressDigits && std::all_of(text.begin(), text.end(), iswxdigit);
}

// The permanent address does not change ("OID_802_3_PERMANENT_ADDRESS"); the current one is that of
// NetworkAddress ("NdisReadNetworkAddress"). A driver that refuses to tell goes on refusing.
static void TakeNetworkAddress(const Adapter& adapter) {
    const std::wstring text = Key::Open(adapter.driver).Text(kNetworkAddress);
    const auto own = Key::Open(adapter.data).Value(kOwnAddress);
    const auto current = Key::Open(adapter.answers).Value(kCurrentAddressOid);
    if (current && current->type != REG_BINARY) {
        return;
    }
    if (IsAddress(text)) {
        if (!own) {
            Key::Create(adapter.data)
                .Set({kOwnAddress, REG_BINARY, current ? current->data : std::vector<BYTE>()});
        }
        Key::Create(adapter.answers).Set({kCurrentAddressOid, REG_BINARY, AddressBytes(text)});
        return;
    }
    if (!own) {
        return;
    }
    if (own->data.empty()) {
        DeleteValue(adapter.answers, kCurrentAddressOid);
    } else {
        Key::Create(adapter.answers).Set({kCurrentAddressOid, REG_BINARY, own->data});
    }
    DeleteValue(adapter.data, kOwnAddress);
}

static void TakeVlan(const Adapter& adapter) {
    const auto id = Key::Open(adapter.driver).Value(L"VlanID");
    if (id && id->type == REG_DWORD && id->data.size() == sizeof(DWORD)) {
        Key::Create(adapter.data).Set({kVlanInUse, REG_DWORD, id->data});
    } else {
        DeleteValue(adapter.data, kVlanInUse);
    }
}

static void TakeDriverValues(const Adapter& adapter) {
    if (adapter.guid.empty()) {
        return;
    }
    const DWORD characteristics = Key::Open(adapter.driver).Number(L"Characteristics", 0);
    Key::Create(adapter.data).Set(kHidden, (characteristics & NCF_HIDDEN) ? 1 : 0);
    if (adapter.isMiniport) {
        TakeVlan(adapter);
    } else {
        TakeNetworkAddress(adapter);
    }
}

void TakeDriverValues(const std::wstring& instance) {
    TakeDriverValues(Find(instance));
}

std::wstring CurrentAddress(const std::wstring& instance) {
    const Adapter adapter = Find(instance);
    if (adapter.guid.empty() || adapter.isMiniport) {
        return L"";
    }
    const auto current = Key::Open(adapter.answers).Value(kCurrentAddressOid);
    if (!current || current->type != REG_BINARY) {
        return L"";
    }
    std::wstring text;
    for (const BYTE byte : current->data) {
        wchar_t digits[3];
        swprintf(digits, ARRAYSIZE(digits), L"%02X", byte);
        text += digits;
    }
    return text;
}

static bool HasAddress(const Adapter& adapter) {
    return Key::Open(adapter.driver).Value(kNetworkAddress).has_value();
}

// The machine's first address plus the number in the adapter's GUID.
static std::wstring AddressOf(const Adapter& adapter) {
    const size_t start = ARRAYSIZE(kVirtualGuidStart) - 1;
    const bool numbered = _wcsnicmp(adapter.guid.c_str(), kVirtualGuidStart, start) == 0;
    const ULONGLONG number = numbered ? wcstoull(adapter.guid.c_str() + start, nullptr, 16) : 0;
    const std::wstring first = Key::Open(layout::kMachine).Text(L"TeamAddressText");
    wchar_t text[24];
    swprintf(text, ARRAYSIZE(text), L"%012I64X", wcstoull(first.c_str(), nullptr, 16) + number);
    return text;
}

static std::wstring Publish(const Adapter& adapter) {
    if (!adapter.isMiniport || adapter.guid.empty() || HasAddress(adapter)) {
        return L"";
    }
    const std::wstring address = AddressOf(adapter);
    Key::Create(adapter.driver).Set(kNetworkAddress, address);
    const Key answers = Key::Create(adapter.answers);
    for (const auto* oid : {kPermanentAddressOid, kCurrentAddressOid}) {
        answers.Set({oid, REG_BINARY, AddressBytes(address)});
    }
    return address;
}

std::wstring PublishAddress(const std::wstring& instance) {
    return Publish(Find(instance));
}

static void PublishLater(const Adapter& adapter, ULONGLONG when) {
    MachineValue value = {kPublishAt, REG_QWORD, std::vector<BYTE>(sizeof when)};
    memcpy(value.data.data(), &when, sizeof when);
    Key::Create(adapter.device).Set(value);
}

// Only the team miniport publishes, and never over an address that is there.
std::wstring StartDevice(const std::wstring& instance, ULONGLONG now) {
    const Adapter adapter = Find(instance);
    if (adapter.guid.empty()) {
        return L"";
    }
    Key::Create(adapter.data).Set(QVNIC_STARTED, 1);
    TakeDriverValues(adapter);
    if (!adapter.isMiniport || HasAddress(adapter)) {
        return L"";
    }
    const std::wstring when = Key::Open(layout::kMachine).Text(L"TeamAddress");
    unsigned long seconds = 0;
    if (when == L"at once") {
        return Publish(adapter);
    }
    if (swscanf(when.c_str(), L"after %lu", &seconds) == 1) {
        PublishLater(adapter, now + seconds * 1000ull);
    }
    return L"";
}

void StopDevice(const std::wstring& instance) {
    const Adapter adapter = Find(instance);
    DeleteValue(adapter.device, kPublishAt);
    if (!adapter.guid.empty()) {
        Key::Create(adapter.data).Set(QVNIC_STARTED, 0);
    }
}

} // namespace qvmachine
