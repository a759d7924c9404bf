#include "harness/sample_machine.h"

static const std::wstring kEnum = L"System\\CurrentControlSet\\Enum\\";
static const std::wstring kClass = L"System\\CurrentControlSet\\Control\\Class\\";

static std::wstring Format(const wchar_t* format, unsigned n) {
    wchar_t text[120];
    swprintf(text, 120, format, n);
    return text;
}

std::wstring PortGuid(unsigned n) {
    return Format(L"{A0000000-0000-4000-8000-%012X}", n);
}

std::wstring VirtualGuid(unsigned n) {
    return Format(L"{B0000000-0000-4000-8000-%012X}", n);
}

MachineAdapter SamplePort(unsigned n) {
    MachineAdapter adapter;
    adapter.name = Format(L"port%u", n);
    adapter.instance =
        Format(L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&%02X", (n + 1) * 8);
    adapter.guid = PortGuid(n);
    adapter.description = L"Quovane 10GbE Adapter";
    adapter.friendlyName = Format(L"Port %u", n);
    adapter.provider = L"Quovane";
    return adapter;
}

MachineAdapter SampleVirtual(unsigned n) {
    MachineAdapter adapter = SamplePort(n);
    adapter.name = Format(L"virtual%u", n);
    adapter.instance = Format(L"ROOT\\NET\\%04u", n);
    adapter.guid = VirtualGuid(n);
    adapter.hardwareIds = {L"QV_QVTEAMMP"};
    adapter.description = L"Quovane Team Virtual Adapter";
    adapter.friendlyName = Format(L"Virtual %u", n);
    adapter.provider = L"Quovane Communications Inc.,";
    adapter.service = L"qvteammp";
    adapter.characteristics = 1;
    return adapter;
}

void SetDeviceText(const std::wstring& instance, const std::wstring& name,
                   const MachineValue& value) {
    RegistrySet(kEnum + instance, {name, value.type, value.data});
}

std::wstring DriverKeyOf(const std::wstring& instance) {
    return kClass + RegistryText(kEnum + instance, L"Driver");
}
