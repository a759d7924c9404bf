#include "records_input.h"

#include <cfgmgr32.h>
#include <setupapi.h>

#include "include/names.h"
#include "inventory/device_path.h"

constexpr DWORD KNOWN_GUIDS = 6;

GUID GuidOf(DWORD number) {
    GUID guid = {0xA0000000, 0, 0x4000, {0x80}};
    guid.Data4[7] = static_cast<BYTE>(number);
    return guid;
}

Name GuidText(Input& input) {
    if (input.number<BYTE>() % 4 == 0)
        return input.text(300).data();
    GUID guid = GuidOf(input.below(KNOWN_GUIDS));
    WCHAR text[GUID_CCH];
    PrintGuid(&guid, text);
    return text;
}

static void MayChange(Input& input, FuzzValue* value) {
    BYTE change = input.number<BYTE>() % 8;
    value->changes = change == 1;
    value->vanishes = change == 2;
    if (value->changes)
        value->later = input.bytes(400);
}

static void Append(FuzzValue* value, const Name& text, bool terminated) {
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.c_str());
    value->bytes.insert(value->bytes.end(), bytes,
                        bytes + (text.size() + (terminated ? 1 : 0)) * sizeof(WCHAR));
}

FuzzValue HostileValue(Input& input) {
    FuzzValue value;
    value.type = input.below(12);
    value.bytes = input.bytes(700);
    MayChange(input, &value);
    return value;
}

FuzzValue HostileNumber(Input& input) {
    if (input.number<BYTE>() % 4 == 0)
        return HostileValue(input);
    FuzzValue value;
    value.type = REG_DWORD;
    DWORD number = input.number<DWORD>();
    const BYTE* bytes = reinterpret_cast<const BYTE*>(&number);
    value.bytes.assign(bytes, bytes + sizeof(number));
    return value;
}

static Name DeviceName(Input& input) {
    static const LPCWSTR prefixes[] = {L"\\Device\\", L"\\Device\\", L"\\DEVICE\\", L"",
                                       L"\\\\.\\"};
    return prefixes[input.below(5)] + GuidText(input);
}

FuzzValue HostileText(Input& input) {
    if (input.number<BYTE>() % 4 == 0)
        return HostileValue(input);
    FuzzValue value;
    value.type = REG_SZ;
    Append(&value, DeviceName(input), input.chance());
    if (input.number<BYTE>() % 8 == 0)
        value.bytes.push_back(input.number<BYTE>());
    MayChange(input, &value);
    return value;
}

FuzzValue HostileList(Input& input) {
    if (input.number<BYTE>() % 4 == 0)
        return HostileValue(input);
    FuzzValue value;
    value.type = REG_MULTI_SZ;
    for (DWORD count = input.below(70); count > 0 && !input.ended(); count--)
        Append(&value, DeviceName(input), count > 1 || input.chance());
    if (input.chance())
        Append(&value, Name(), true);
    if (input.number<BYTE>() % 8 == 0)
        value.bytes.push_back(input.number<BYTE>());
    MayChange(input, &value);
    return value;
}

void FillRecords(Input& input) {
    for (DWORD count = input.below(16); count > 0 && !input.ended(); count--) {
        Name name = GuidText(input);
        if (name.size() < KEY_PATH_CCH)
            g_machine.recordNames.push_back(name);
        BYTE has = input.number<BYTE>();
        if (has == 0xFF)
            continue;
        FuzzKey& record = RecordKey(name);
        record.denied = has >= 0xF0;
        if (has & 1)
            record.values[L"teambinding"] = HostileText(input);
        if (has & 2)
            record.values[L"vlanbinding"] = HostileList(input);
        if (has & 4)
            record.values[L"teamnumber"] = HostileNumber(input);
        if (has & 8)
            record.values[L"order"] = HostileNumber(input);
    }
}

static Name InstanceId(Input& input) {
    static const LPCWSTR prefixes[] = {L"ROOT\\NET\\", L"root\\net\\", L"PCI\\", L"ROOT\\"};
    BYTE kind = input.number<BYTE>();
    if (kind % 8 == 0)
        return input.text(220).data();
    return prefixes[kind % 4] + Name(L"0000");
}

// Often just about as long as the buffers that it is read into.
static FuzzValue HostileProperty(Input& input) {
    static const int sizes[] = {2, 256, 512, 514, 522, 524};
    FuzzValue value;
    if (input.chance())
        value.bytes = input.bytes(700);
    else
        value.bytes.assign(sizes[input.below(6)] + input.below(5) - 2, input.number<BYTE>());
    return value;
}

static FuzzValue Provider(Input& input) {
    if (input.number<BYTE>() % 4 == 0)
        return HostileValue(input);
    FuzzValue value;
    value.type = REG_SZ;
    Append(&value, MAKER_NAME, input.chance());
    return value;
}

FuzzDevice VlanDevice(Input& input, DWORD number) {
    FuzzDevice device;
    GUID guid = GuidOf(number);
    WCHAR text[GUID_CCH];
    PrintGuid(&guid, text);
    device.instanceId = L"ROOT\\NET\\0000";
    Append(&device.driverKey.values[L"netcfginstanceid"], text, true);
    device.driverKey.values[L"vlanid"] = HostileNumber(input);
    device.driverKey.values[L"vlanname"] = HostileValue(input);
    return device;
}

FuzzDevice HostileDevice(Input& input) {
    FuzzDevice device;
    device.instanceId = InstanceId(input);
    BYTE has = input.number<BYTE>();
    device.idResult = has == 0xFF ? 0x0D : CR_SUCCESS;
    device.keyMissing = has >= 0xF8;
    auto& values = device.driverKey.values;
    if (!(has & 1)) {
        FuzzValue& id = values[L"netcfginstanceid"];
        Append(&id, GuidText(input), input.chance());
        MayChange(input, &id);
    }
    if (!(has & 2))
        values[L"providername"] = Provider(input);
    if (has & 4)
        values[L"vlanid"] = HostileNumber(input);
    if (has & 8)
        values[L"vlanname"] = HostileValue(input);
    if (has & 16)
        values[L"tcpoffload"] = HostileValue(input);
    if (!(has & 32))
        device.properties[SPDRP_FRIENDLYNAME] = HostileProperty(input);
    if (has & 64) {
        device.properties[SPDRP_DEVICEDESC] = HostileProperty(input);
        device.properties[SPDRP_SERVICE] = HostileProperty(input);
        device.properties[SPDRP_INSTALL_STATE] = HostileProperty(input);
        values[L"driverdate"] = HostileValue(input);
        values[L"driverversion"] = HostileValue(input);
    }
    return device;
}
