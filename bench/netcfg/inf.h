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
};

// Looks through the OEM INF files of the system, in directory order, for a model of this class
// ("NetTrans", ...) with this hardware id, both compared without regard to case. As 64-bit Windows
// asks, only models decorated for it count.
std::optional<InfComponent> FindInfComponent(const std::wstring& className,
                                             const std::wstring& hardwareId);

// Writes the service key as the service control manager would.
bool WriteInfService(const InfService& service);
void RemoveService(const std::wstring& name);
