#include "inf.h"

#include <objbase.h>
#include <setupapi.h>

#include "model.h"
#include "netcfg_key.h"

namespace {

const wchar_t kServices[] = L"System\\CurrentControlSet\\Services\\";
const wchar_t kPlatform[] = L"NTamd64";

class InfFile {
  public:
    explicit InfFile(const std::wstring& path)
        : handle_(SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, nullptr)) {
    }
    InfFile(const InfFile&) = delete;
    InfFile& operator=(const InfFile&) = delete;
    ~InfFile() {
        if (handle_ != INVALID_HANDLE_VALUE) {
            SetupCloseInfFile(handle_);
        }
    }

    // Each line is its fields, number 0 being the key.
    std::vector<std::vector<std::wstring>> Lines(const std::wstring& section) const {
        std::vector<std::vector<std::wstring>> lines;
        INFCONTEXT at;
        if (handle_ == INVALID_HANDLE_VALUE ||
            !SetupFindFirstLineW(handle_, section.c_str(), nullptr, &at)) {
            return lines;
        }
        do {
            std::vector<std::wstring> fields;
            for (DWORD index = 0; index <= SetupGetFieldCount(&at); ++index) {
                wchar_t text[MAX_INF_STRING_LENGTH] = {};
                SetupGetStringFieldW(&at, index, text, ARRAYSIZE(text), nullptr);
                fields.push_back(text);
            }
            lines.push_back(fields);
        } while (SetupFindNextLine(&at, &at));
        return lines;
    }

    std::wstring Value(const std::wstring& section, const wchar_t* key) const {
        for (const std::vector<std::wstring>& line : Lines(section)) {
            if (lstrcmpiW(line[0].c_str(), key) == 0 && line.size() > 1) {
                return line[1];
            }
        }
        return {};
    }

  private:
    HINF handle_;
};

bool SameText(const std::wstring& a, const std::wstring& b) {
    return lstrcmpiW(a.c_str(), b.c_str()) == 0;
}

bool StartsWith(const std::wstring& text, const std::wstring& start) {
    return SameText(text.substr(0, start.size()), start);
}

DWORD ToNumber(const std::wstring& text) {
    return wcstoul(text.c_str(), nullptr, 0);
}

// The last AddService lines that apply: the section decorated most specifically wins.
std::vector<InfService> ReadServices(const InfFile& inf, const std::wstring& installSection) {
    std::vector<InfService> services;
    for (const wchar_t* decoration : {L".NTamd64.Services", L".NT.Services", L".Services"}) {
        for (const std::vector<std::wstring>& line : inf.Lines(installSection + decoration)) {
            if (!SameText(line[0], L"AddService") || line.size() < 4) {
                continue;
            }
            InfService service;
            service.name = line[1];
            service.displayName = inf.Value(line[3], L"DisplayName");
            service.binary = inf.Value(line[3], L"ServiceBinary");
            service.type = ToNumber(inf.Value(line[3], L"ServiceType"));
            service.start = ToNumber(inf.Value(line[3], L"StartType"));
            service.errorControl = ToNumber(inf.Value(line[3], L"ErrorControl"));
            services.push_back(service);
        }
        if (!services.empty()) {
            break;
        }
    }
    return services;
}

void ReadRange(const std::vector<std::wstring>& setting, InfComponent* component) {
    // A line without a key has its first field at 1 and repeats it at 0.
    if (setting.size() < 6 || !SameText(setting[1], L"HKR") ||
        !SameText(setting[2], L"Ndi\\Interfaces")) {
        return;
    }
    if (SameText(setting[3], L"UpperRange")) {
        component->upperRange = NetCfgRange(setting[5]);
    } else if (SameText(setting[3], L"FilterMediaTypes")) {
        component->lowerRange = NetCfgRange(setting[5]);
        component->isFilter = true;
    } else if (SameText(setting[3], L"LowerRange") && !component->isFilter) {
        component->lowerRange = NetCfgRange(setting[5]);
    }
}

// The settings of Ndi\Interfaces: lines "HKR, Ndi\Interfaces, NAME, FLAGS, VALUE" of the sections
// that AddReg names. The section decorated most specifically is the one that is installed.
void ReadRanges(const InfFile& inf, const std::wstring& installSection, InfComponent* component) {
    for (const wchar_t* decoration : {L".NTamd64", L".NT", L""}) {
        const auto lines = inf.Lines(installSection + decoration);
        for (const std::vector<std::wstring>& line : lines) {
            for (size_t field = 1; SameText(line[0], L"AddReg") && field < line.size(); ++field) {
                for (const std::vector<std::wstring>& setting : inf.Lines(line[field])) {
                    ReadRange(setting, component);
                }
            }
        }
        if (!lines.empty()) {
            return;
        }
    }
}

std::optional<InfComponent> FindModel(const InfFile& inf, const std::wstring& models,
                                      const std::wstring& hardwareId) {
    for (const std::vector<std::wstring>& line : inf.Lines(models)) {
        for (size_t field = 2; field < line.size(); ++field) {
            if (SameText(line[field], hardwareId)) {
                InfComponent component;
                component.description = line[0];
                component.services = ReadServices(inf, line[1]);
                ReadRanges(inf, line[1], &component);
                return component;
            }
        }
    }
    return std::nullopt;
}

bool HasClass(const InfFile& inf, const InfClass& wanted) {
    const std::wstring text = inf.Value(L"Version", L"ClassGUID");
    GUID guid;
    if (!text.empty()) {
        return SUCCEEDED(CLSIDFromString(text.c_str(), &guid)) && guid == wanted.guid;
    }
    return SameText(inf.Value(L"Version", L"Class"), wanted.name);
}

std::optional<InfComponent> FindInFile(const InfFile& inf, const InfClass& infClass,
                                       const std::wstring& hardwareId) {
    if (!HasClass(inf, infClass)) {
        return std::nullopt;
    }
    for (const std::vector<std::wstring>& maker : inf.Lines(L"Manufacturer")) {
        // "%Maker% = Models, NTamd64": the models of that platform are in [Models.NTamd64].
        for (size_t field = 2; field < maker.size(); ++field) {
            if (!StartsWith(maker[field], kPlatform)) {
                continue;
            }
            if (auto found = FindModel(inf, maker[1] + L"." + maker[field], hardwareId)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<InfComponent> FindInfComponent(const InfClass& infClass,
                                             const std::wstring& hardwareId) {
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, ARRAYSIZE(windows));
    const std::wstring directory = std::wstring(windows) + L"\\inf\\";
    std::optional<InfComponent> found;
    WIN32_FIND_DATAW file;
    HANDLE search = FindFirstFileW((directory + L"oem*.inf").c_str(), &file);
    if (search == INVALID_HANDLE_VALUE) {
        return found;
    }
    do {
        found = FindInFile(InfFile(directory + file.cFileName), infClass, hardwareId);
        if (found) {
            found->infName = file.cFileName;
        }
    } while (!found && FindNextFileW(search, &file));
    FindClose(search);
    return found;
}

bool WriteInfService(const InfService& service) {
    const NetCfgKey key = NetCfgKey::Create(kServices + service.name);
    // The loader of drivers starts from the Windows directory.
    std::wstring image = service.binary;
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, ARRAYSIZE(windows));
    const std::wstring start = std::wstring(windows) + L"\\";
    if (StartsWith(image, start)) {
        image.erase(0, start.size());
    }
    return key.Write(L"Type", service.type) && key.Write(L"Start", service.start) &&
           key.Write(L"ErrorControl", service.errorControl) &&
           (image.empty() || key.Write(L"ImagePath", image, REG_EXPAND_SZ)) &&
           (service.displayName.empty() || key.Write(L"DisplayName", service.displayName));
}

void RemoveService(const std::wstring& name) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kServices + name).c_str());
}
