// INetCfgComponent with INetCfgComponentBindings over one adapter, protocol, service or client.
#pragma once

#include <windows.h>
#include <netcfgx.h>

#include <string>
#include <vector>

#include "workspace.h"

// What the interfaces tell of a component, adapters and the others alike.
struct ComponentItem {
    GUID classGuid = {};
    std::wstring id;
    std::wstring displayName;
    std::wstring bindName;
    std::wstring instanceId; // adapters only
    GUID instanceGuid = {};
    DWORD characteristics = 0;

    bool IsAdapter() const;
};

// The word for a class in the registry and the class name in INF files; nothing for GUIDs that are
// no class of network components.
struct ComponentClass {
    const GUID* guid;
    const wchar_t* kind;
    const wchar_t* infClass;
};
const ComponentClass* FindComponentClass(const GUID& guid);

// The components of a class in binding order, adapters in the order of device enumeration.
std::vector<ComponentItem> ComponentsOfClass(const Workspace& workspace, const GUID& classGuid);
// Each with one reference for the caller.
INetCfgComponent* MakeComponent(const WorkspacePointer& workspace, const ComponentItem& item);
IEnumNetCfgComponent* MakeComponentEnumerator(const WorkspacePointer& workspace,
                                              const GUID& classGuid);
// S_FALSE and no component when no component of the class has this id (case aside). The lookup of
// INetCfg goes through all classes: pass null.
HRESULT FindComponentById(const WorkspacePointer& workspace, const GUID* classGuid,
                          const wchar_t* id, INetCfgComponent** found);
// The component that a binding path names: an id, or an adapter's GUID.
INetCfgComponent* MakeComponentByName(const WorkspacePointer& workspace, const std::wstring& name);
