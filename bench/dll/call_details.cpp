#include "call_details.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <winioctl.h>

#include <ntddndis.h>

#include "set_state.h"

namespace bench {

namespace {

struct Constant {
    DWORD number;
    const char* name;
};
#define CONSTANT(name) {name, #name}

const Constant kFunctions[] = {
    CONSTANT(DIF_SELECTDEVICE),
    CONSTANT(DIF_INSTALLDEVICE),
    CONSTANT(DIF_ASSIGNRESOURCES),
    CONSTANT(DIF_PROPERTIES),
    CONSTANT(DIF_REMOVE),
    CONSTANT(DIF_FIRSTTIMESETUP),
    CONSTANT(DIF_FOUNDDEVICE),
    CONSTANT(DIF_SELECTCLASSDRIVERS),
    CONSTANT(DIF_VALIDATECLASSDRIVERS),
    CONSTANT(DIF_INSTALLCLASSDRIVERS),
    CONSTANT(DIF_DESTROYPRIVATEDATA),
    CONSTANT(DIF_VALIDATEDRIVER),
    CONSTANT(DIF_DETECT),
    CONSTANT(DIF_SELECTBESTCOMPATDRV),
    CONSTANT(DIF_ALLOW_INSTALL),
    CONSTANT(DIF_REGISTERDEVICE),
    CONSTANT(DIF_INSTALLINTERFACES),
    CONSTANT(DIF_REGISTER_COINSTALLERS),
    CONSTANT(DIF_PROPERTYCHANGE),
    CONSTANT(DIF_UNREMOVE),
};

const Constant kChanges[] = {
    CONSTANT(DICS_ENABLE), CONSTANT(DICS_DISABLE), CONSTANT(DICS_PROPCHANGE),
    CONSTANT(DICS_START),  CONSTANT(DICS_STOP),
};

const Constant kProperties[] = {
    CONSTANT(SPDRP_DEVICEDESC),
    CONSTANT(SPDRP_HARDWAREID),
    CONSTANT(SPDRP_COMPATIBLEIDS),
    CONSTANT(SPDRP_SERVICE),
    CONSTANT(SPDRP_CLASS),
    CONSTANT(SPDRP_CLASSGUID),
    CONSTANT(SPDRP_DRIVER),
    CONSTANT(SPDRP_CONFIGFLAGS),
    CONSTANT(SPDRP_MFG),
    CONSTANT(SPDRP_FRIENDLYNAME),
    CONSTANT(SPDRP_LOCATION_INFORMATION),
    CONSTANT(SPDRP_PHYSICAL_DEVICE_OBJECT_NAME),
    CONSTANT(SPDRP_CAPABILITIES),
    CONSTANT(SPDRP_UI_NUMBER),
    CONSTANT(SPDRP_CHARACTERISTICS),
    CONSTANT(SPDRP_ADDRESS),
    CONSTANT(SPDRP_INSTALL_STATE),
};

struct Names {
    const Constant* first;
    size_t count;

    template <size_t N> Names(const Constant (&list)[N]) : first(list), count(N) {
    }
    std::string NameOf(DWORD number) const {
        for (size_t i = 0; i < count; i++)
            if (first[i].number == number)
                return first[i].name;
        return {};
    }
    bool Has(const std::string& name) const {
        for (size_t i = 0; i < count; i++)
            if (name == first[i].name)
                return true;
        return false;
    }
};

template <const auto& List> bool OneOf(std::string* detail) {
    return Names(List).Has(*detail);
}

// The name of a key or a value.
bool Any(std::string* detail) {
    return !detail->empty();
}

bool Oid(std::string* detail) {
    char* end = nullptr;
    unsigned long oid = strtoul(detail->c_str(), &end, 16);
    if (detail->rfind("0X", 0) != 0 || end == detail->c_str() + 2 || *end != 0)
        return false;
    char text[16];
    snprintf(text, sizeof(text), "0x%08lX", oid);
    *detail = text;
    return true;
}

const struct {
    const char* name;
    bool (*accepts)(std::string* detail);
} kDetailed[] = {
    {"SetupDiCallClassInstaller", OneOf<kFunctions>},
    {"SetupDiChangeState", OneOf<kChanges>},
    {"SetupDiGetDeviceRegistryPropertyW", OneOf<kProperties>},
    {"SetupDiSetDeviceRegistryPropertyW", OneOf<kProperties>},
    {"RegOpenKeyExW", Any},
    {"RegCreateKeyExW", Any},
    {"RegDeleteKeyW", Any},
    {"RegQueryValueExW", Any},
    {"RegSetValueExW", Any},
    {"RegDeleteValueW", Any},
    {"DeviceIoControl", Oid},
};

std::string Capitals(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

// A command cannot write other characters either.
std::string Name(const wchar_t* text) {
    std::string name;
    for (; *text; text++)
        name += *text < 0x80 ? static_cast<char>(*text) : '?';
    return Capitals(name);
}

std::string LastComponent(LPCWSTR path) {
    if (!path)
        return {};
    const wchar_t* last = wcsrchr(path, L'\\');
    return Name(last ? last + 1 : path);
}

std::string ValueName(LPCWSTR name) {
    return name && *name ? Name(name) : "@";
}

} // namespace

bool SplitDetail(const std::string& text, std::string* name, std::string* detail) {
    for (size_t at = text.find(':'); at != std::string::npos; at = text.find(':', at)) {
        if (text.compare(at, 2, "::") == 0) {
            at += 2;
            continue;
        }
        *name = text.substr(0, at);
        *detail = text.substr(at + 1);
        return true;
    }
    return false;
}

bool CanonicalDetail(const std::string& name, std::string* detail) {
    for (const auto& detailed : kDetailed) {
        if (name == detailed.name) {
            *detail = Capitals(*detail);
            return detailed.accepts(detail);
        }
    }
    return false;
}

} // namespace bench

namespace detail {

using namespace bench;

std::string SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO, PSP_DEVINFO_DATA) {
    return Names(kFunctions).NameOf(function);
}

std::string SetupDiChangeState(HDEVINFO set, PSP_DEVINFO_DATA device) {
    const std::vector<BYTE> params = GetState(set, device).classInstallParams;
    if (params.size() < sizeof(SP_PROPCHANGE_PARAMS))
        return {};
    SP_PROPCHANGE_PARAMS change;
    memcpy(&change, params.data(), sizeof(change));
    return Names(kChanges).NameOf(change.StateChange);
}

std::string SetupDiGetDeviceRegistryPropertyW(HDEVINFO, PSP_DEVINFO_DATA, DWORD property, PDWORD,
                                              PBYTE, DWORD, PDWORD) {
    return Names(kProperties).NameOf(property);
}

std::string SetupDiSetDeviceRegistryPropertyW(HDEVINFO, PSP_DEVINFO_DATA, DWORD property,
                                              const BYTE*, DWORD) {
    return Names(kProperties).NameOf(property);
}

std::string RegOpenKeyExW(HKEY, LPCWSTR subKey, DWORD, REGSAM, PHKEY) {
    return LastComponent(subKey);
}

std::string RegCreateKeyExW(HKEY, LPCWSTR subKey, DWORD, LPWSTR, DWORD, REGSAM,
                            LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) {
    return LastComponent(subKey);
}

std::string RegDeleteKeyW(HKEY, LPCWSTR subKey) {
    return LastComponent(subKey);
}

std::string RegQueryValueExW(HKEY, LPCWSTR name, LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
    return ValueName(name);
}

std::string RegSetValueExW(HKEY, LPCWSTR name, DWORD, DWORD, const BYTE*, DWORD) {
    return ValueName(name);
}

std::string RegDeleteValueW(HKEY, LPCWSTR name) {
    return ValueName(name);
}

std::string DeviceIoControl(HANDLE, DWORD code, LPVOID in, DWORD inSize, LPVOID, DWORD, LPDWORD,
                            LPOVERLAPPED) {
    if (code != IOCTL_NDIS_QUERY_GLOBAL_STATS || !in || inSize < sizeof(DWORD))
        return {};
    DWORD oid;
    memcpy(&oid, in, sizeof(oid));
    char text[16];
    snprintf(text, sizeof(text), "0x%08lX", oid);
    return text;
}

} // namespace detail
