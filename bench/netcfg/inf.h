// What the installation of a protocol, service or client takes from the maker's INF files.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

struct InfService {
    std::wstring name;
    std::wstring displayName;
    std::wstring binary; // as the INF says it, directory ids expanded
    DWORD type = 0;
    DWORD start = 0;
    DWORD errorControl = 0;
};

struct InfComponent {
    std::wstring infName; // oem3.inf
    std::wstring description;
    std::vector<InfService> services;
    // Of Ndi\Interfaces among the settings that the installation writes. An INF without them makes a
    // component that binds to nothing.
    std::vector<std::wstring> upperRange;
    std::vector<std::wstring> lowerRange; // a filter's media types
    bool isFilter = false;                // FilterMediaTypes instead of bindings
};

struct InfClass {
    GUID guid;
    std::wstring name; // "NetTrans", ...
};

// Looks through the OEM INF files of the system, in directory order, for a model of this class with
// this hardware id, compared without regard to case. An INF's class is that of ClassGUID or, when
// it has none, of Class ("SetupDiGetINFClass"). As 64-bit Windows asks, only models decorated for it
// count.
std::optional<InfComponent> FindInfComponent(const InfClass& infClass,
                                             const std::wstring& hardwareId);

// Writes the service key as the service control manager would.
bool WriteInfService(const InfService& service);
void RemoveService(const std::wstring& name);
