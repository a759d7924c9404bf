// Machine files: text to Machine, every complaint with its line. bench/machines/README.md has the
// format.
#include "machine.h"

#include "files.h"
#include "text.h"
#include "values.h"

#include <algorithm>
#include <functional>

using namespace qvmachine;

namespace {

constexpr unsigned kMaxHardwareProfiles = 31; // the bench keeps sets of profiles as bits

// What any adapter's section collects before its answers are worked out.
struct AnswerLines {
    bool standard = true;
    std::optional<Ndis> ndis;                        // nothing: that of the machine's Windows
    std::map<DWORD, std::optional<OidAnswer>> lines; // nothing: the OID has no answer

    OidAnswers Resolve(OidAnswers answers) const {
        if (!standard) {
            answers.clear();
        }
        for (const auto& [oid, answer] : lines) {
            if (answer) {
                answers[oid] = *answer;
            } else {
                answers.erase(oid);
            }
        }
        return answers;
    }
};

// The shipped machines go by their names alone, with or without .txt.
static std::wstring ShippedMachine(const std::wstring& name) {
    if (name.find_first_of(L"\\/") != std::wstring::npos) {
        return L"";
    }
    const std::wstring path = FindBenchFile(L"machines\\" + name + L".txt");
    return path.empty() ? FindBenchFile(L"machines\\" + name) : path;
}

static bool ReadMachineFile(const std::wstring& path, std::string* text) {
    const std::wstring shipped = ShippedMachine(path);
    return ReadFileBytes(shipped.empty() ? path : shipped, text);
}

class Parser {
  public:
    void Text(const std::string& text, const std::wstring& source);
    Machine Finish();
    std::wstring source; // of the line being read
    int line = 0;

  private:
    using Setter = std::function<void(const std::string&)>;
    using Setters = std::map<std::string, Setter>;

    void Line(const std::string& raw);
    void Include(const std::string& value);
    void Section(const std::string& kind, const std::string& name);
    void Answers(const std::string& key, const std::string& value);
    void InfLine(const std::string& value);
    void Set(const std::string& key, const std::string& value);

    Setters GeneralKeys();
    Setters AdapterKeys(MachineAdapter* adapter);
    Setters TeamKeys(MachineTeam* team);
    Setters VlanKeys(MachineVlan* vlan);
    Setters ComponentKeys(NetCfgComponent* component);
    void CheckReferences() const;

    Machine machine_;
    std::string kind_;
    Setters keys_ = GeneralKeys();
    std::vector<MachineValue>* values_ = nullptr; // where "value" lines go
    AnswerLines* answers_ = nullptr;              // where "oid" lines go
    std::map<std::wstring, AnswerLines> allAnswers_;
    std::map<std::wstring, int> sections_; // name to line
    bool included_ = false;                // the line being read comes from an included file
};

void Parser::InfLine(const std::string& value) {
    const auto words = Words(value);
    if (words.size() != 2) {
        Complain("inf = FILE NAME is meant");
    }
    MachineInf inf = {Wide(words[1]), ""};
    const std::wstring path = FindBenchFile(L"infs\\" + Wide(words[0]));
    if (path.empty() || !ReadFileBytes(path, &inf.content)) {
        Complain("no such INF: " + words[0]);
    }
    machine_.infs.push_back(inf);
}

static void Lock(const std::string& value, Machine* machine) {
    const size_t close = value.find('"', 1);
    if (value[0] != '"' || close == std::string::npos) {
        Complain("lock = \"HOLDER\" SECONDS is meant");
    }
    machine->lockHolder = Wide(value.substr(1, close - 1));
    const std::string seconds = Trim(value.substr(close + 1));
    machine->lockSeconds = seconds == "forever" ? INFINITE : Dword(seconds);
}

static void Windows(const std::string& value, Machine* machine) {
    const auto words = Words(value);
    if (words.empty() || words.size() > 2) {
        Complain("windows = VERSION [workstation|server] is meant");
    }
    Choice(words[0], {"5.1", "5.2", "6.0", "6.1", "6.2", "6.3", "10.0"});
    machine->windows = Wide(words[0]);
    machine->product.clear();
    if (words.size() == 2) {
        Choice(words[1], {"workstation", "server"});
        machine->product = Wide(words[1]);
    }
}

// Names with blanks between them, as a driver key has them: with commas.
static std::wstring Range(const std::string& value) {
    std::wstring range;
    for (const auto& word : WideWords(value)) {
        range += (range.empty() ? L"" : L",") + word;
    }
    return range;
}

static std::wstring TeamAddress(const std::string& value) {
    if (StartsWith(value, "after ")) {
        Dword(Trim(value.substr(6)));
    } else {
        Choice(value, {"at once", "never"});
    }
    return Wide(value);
}

Parser::Setters Parser::GeneralKeys() {
    Machine* m = &machine_;
    return {
        {"windows", [=](auto& v) { Windows(v, m); }},
        {"administrator", [=](auto& v) { m->administrator = YesNo(v); }},
        {"newdev",
         [=](auto& v) {
             for (const auto& word : Words(v)) {
                 Choice(word, {"DiInstallDevice", "InstallSelectedDriver",
                               "UpdateDriverForPlugAndPlayDevicesW"});
             }
             m->newDev = WideWords(v);
         }},
        {"ndis-errors",
         [=](auto& v) { m->untranslatedErrors = Choice(v, {"translated", "untranslated"}) == 1; }},
        {"team-address", [=](auto& v) { m->teamAddress = TeamAddress(v); }},
        {"team-address-text", [=](auto& v) { m->teamAddressText = Unquoted(v); }},
        {"team-stops", [=](auto& v) { m->teamStops = YesNo(v); }},
        {"next-virtual", [=](auto& v) { m->nextVirtual = Dword(v); }},
        {"team-flags", [=](auto& v) { m->teamFlags = Dword(v); }},
        {"hardware-profiles",
         [=](auto& v) {
             m->hardwareProfiles = static_cast<DWORD>(Number(v, kMaxHardwareProfiles));
             if (m->hardwareProfiles == 0) {
                 Complain("there is at least one hardware profile");
             }
         }},
        {"processes", [=](auto& v) { m->processes = WideWords(v); }},
        {"process-list", [=](auto& v) { m->processList = ProcessList(v); }},
        {"lock", [=](auto& v) { Lock(v, m); }},
        {"inf", [=](auto& v) { InfLine(v); }},
        {"protocol",
         [=](auto& v) { m->protocolInstalled = Choice(v, {"absent", "installed"}) == 1; }},
        {"components",
         [=](auto& v) {
             Choice(v, {"none", "default", "windows-10", "hyper-v"});
             m->componentSet = Wide(v);
         }},
        {"install-needs-lock", [=](auto& v) { m->installNeedsLock = YesNo(v); }},
    };
}

Parser::Setters Parser::AdapterKeys(MachineAdapter* a) {
    return {
        {"instance", [=](auto& v) { a->instance = Unquoted(v); }},
        {"hardware-id", [=](auto& v) { a->hardwareIds = WideWords(v); }},
        {"guid", [=](auto& v) { a->guid = Guid(v); }},
        {"description", [=](auto& v) { a->description = Unquoted(v); }},
        {"friendly-name", [=](auto& v) { a->friendlyName = Unquoted(v); }},
        {"provider", [=](auto& v) { a->provider = Unquoted(v); }},
        {"service", [=](auto& v) { a->service = Unquoted(v); }},
        {"install-state", [=](auto& v) { a->installState = Dword(v); }},
        {"characteristics",
         [=](auto& v) { a->characteristics = v == "none" ? std::optional<DWORD>() : Dword(v); }},
        {"flags", [=](auto& v) { a->flags = Dword(v); }},
        {"disabled", [=](auto& v) { a->disabled = Choice(v, {"no", "global", "config"}); }},
        {"opens", [=](auto& v) { a->opens = YesNo(v); }},
        {"present",
         [=](auto& v) {
             const size_t choice = Choice(v, {"yes", "no", "phantom"});
             a->present = choice != 1;
             a->phantom = choice == 2;
         }},
        {"stops", [=](auto& v) { a->stops = YesNo(v); }},
        {"driver-key", [=](auto& v) { a->driverKey = YesNo(v); }},
        {"ip-address", [=](auto& v) { a->ipAddress = Unquoted(v); }},
        {"answers-left", [=](auto& v) { a->answersLeft = AnswersLeft(v); }},
        {"upper-range", [=](auto& v) { a->upperRange = Range(v); }},
        {"lower-range", [=](auto& v) { a->lowerRange = Range(v); }},
        {"unbound", [=](auto& v) { a->unbound = WideWords(v); }},
        {"switched", [=](auto& v) { a->switched = YesNo(v); }},
        {"host-interface", [=](auto& v) { a->hostInterface = HostInterface(v); }},
        {"unknown-oid", [=](auto& v) { a->unknownOid = NdisStatus(v); }},
        {"task-list-needs-header-size", [=](auto& v) { a->needsHeaderSize = YesNo(v); }},
    };
}

static bool IsPhantom(const std::string& value) {
    return Choice(value, {"yes", "phantom"}) == 1;
}

Parser::Setters Parser::TeamKeys(MachineTeam* t) {
    return {
        {"name", [=](auto& v) { t->teamName = Unquoted(v); }},
        {"slot", [=](auto& v) { t->slot = static_cast<DWORD>(Number(v, 15)); }},
        {"mode", [=](auto& v) { t->mode = static_cast<DWORD>(Number(v, 15)); }},
        {"guid", [=](auto& v) { t->guid = Guid(v); }},
        {"members", [=](auto& v) { t->members = WideWords(v); }},
        {"order",
         [=](auto& v) {
             t->order.clear();
             for (const auto& word : Words(v)) {
                 t->order.push_back(Dword(word));
             }
         }},
        {"address", [=](auto& v) { t->address = Unquoted(v); }},
        {"instance", [=](auto& v) { t->instance = Unquoted(v); }},
        {"opens", [=](auto& v) { t->opens = YesNo(v); }},
        {"present", [=](auto& v) { t->phantom = IsPhantom(v); }},
        {"stops", [=](auto& v) { t->stops = YesNo(v); }},
    };
}

Parser::Setters Parser::VlanKeys(MachineVlan* n) {
    return {
        {"host", [=](auto& v) { n->host = Wide(v); }},
        {"id", [=](auto& v) { n->id = Dword(v); }},
        {"name", [=](auto& v) { n->vlanName = Unquoted(v); }},
        {"guid", [=](auto& v) { n->guid = Guid(v); }},
        {"address", [=](auto& v) { n->address = Unquoted(v); }},
        {"instance", [=](auto& v) { n->instance = Unquoted(v); }},
        {"opens", [=](auto& v) { n->opens = YesNo(v); }},
        {"present", [=](auto& v) { n->phantom = IsPhantom(v); }},
        {"stops", [=](auto& v) { n->stops = YesNo(v); }},
    };
}

Parser::Setters Parser::ComponentKeys(NetCfgComponent* c) {
    return {
        {"class",
         [=](auto& v) {
             Choice(v, {"trans", "service", "client", "filter"});
             c->kind = Wide(v);
         }},
        {"display-name", [=](auto& v) { c->displayName = Unquoted(v); }},
        {"upper-range", [=](auto& v) { c->upperRange = NetCfgRange(Range(v)); }},
        {"lower-range", [=](auto& v) { c->lowerRange = NetCfgRange(Range(v)); }},
        {"bound-by-default", [=](auto& v) { c->boundByDefault = YesNo(v); }},
        {"hidden", [=](auto& v) { c->hidden = YesNo(v); }},
    };
}

void Parser::Section(const std::string& kind, const std::string& name) {
    const std::wstring wide = Wide(name);
    kind_ = kind;
    values_ = nullptr;
    answers_ = nullptr;
    keys_ = {};
    if (kind == "registry") {
        return;
    }
    Choice(kind, {"adapter", "team", "vlan", "component", "registry"});
    if (name.empty()) {
        Complain("a section of this kind needs a name");
    }
    if (!sections_.emplace(wide, line).second) {
        Complain("there is a section " + name + " already");
    }
    if (kind == "component") {
        machine_.components.push_back(NetCfgTemplate(wide));
        keys_ = ComponentKeys(&machine_.components.back());
        return;
    }
    answers_ = &allAnswers_[wide];
    if (kind == "adapter") {
        machine_.adapters.emplace_back().name = wide;
        keys_ = AdapterKeys(&machine_.adapters.back());
        values_ = &machine_.adapters.back().values;
    } else if (kind == "team") {
        machine_.teams.emplace_back().name = wide;
        keys_ = TeamKeys(&machine_.teams.back());
    } else {
        machine_.vlans.emplace_back().name = wide;
        keys_ = VlanKeys(&machine_.vlans.back());
    }
}

void Parser::Answers(const std::string& key, const std::string& value) {
    if (key == "answers") {
        constexpr Ndis kNdis[] = {Ndis::v5,    Ndis::v6_0,  Ndis::v6_1, Ndis::v6_30,
                                  Ndis::v6_50, Ndis::v6_70, Ndis::v6_83};
        const DWORD choice = Choice(value, {"none", "standard", "ndis-5", "ndis-6.0", "ndis-6.1",
                                            "ndis-6.30", "ndis-6.50", "ndis-6.70", "ndis-6.83"});
        answers_->standard = choice > 0;
        answers_->ndis = choice > 1 ? std::optional<Ndis>(kNdis[choice - 2]) : std::nullopt;
        return;
    }
    if (StartsWith(key, "counter ")) {
        answers_->lines[Dword(Trim(key.substr(8)))] = Counter(value);
        return;
    }
    answers_->lines[Dword(Trim(key.substr(4)))] = Answer(value);
}

void Parser::Set(const std::string& key, const std::string& value) {
    if (StartsWith(key, "value ") && values_) {
        values_->push_back(RegistryValue(Trim(key.substr(6)), value));
    } else if ((StartsWith(key, "oid ") || StartsWith(key, "counter ") || key == "answers") &&
               answers_) {
        Answers(key, value);
    } else if (const auto found = keys_.find(key); found != keys_.end()) {
        found->second(value);
    } else {
        Complain("unknown key: " + key);
    }
}

void Parser::Line(const std::string& raw) {
    const std::string text = Trim(WithoutComment(raw));
    if (text.empty()) {
        return;
    }
    if (text[0] == '[') {
        if (text.back() != ']') {
            Complain("missing ]");
        }
        const std::string inside = Trim(text.substr(1, text.size() - 2));
        const size_t blank = std::min(inside.find(' '), inside.size());
        Section(inside.substr(0, blank), Trim(inside.substr(blank)));
        return;
    }
    if (kind_ == "registry" && StartsWith(text, "key ")) {
        machine_.registry.push_back({Unquoted(Trim(text.substr(4))), {}});
        values_ = &machine_.registry.back().values;
        return;
    }
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        Complain("KEY = VALUE is meant");
    }
    const std::string value = Trim(text.substr(equals + 1));
    if (value.empty()) {
        Complain("no value; an empty text is written \"\"");
    }
    const std::string key = Trim(text.substr(0, equals));
    if (key == "include") {
        Include(value);
    } else {
        Set(key, value);
    }
}

// Where a line is wrong, the source and the line number stay those of that line.
void Parser::Text(const std::string& text, const std::wstring& name) {
    const std::wstring outerSource = source;
    const int outerLine = line;
    source = name;
    line = 0;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        line++;
        Line(text.substr(start, end - start));
        start = end + 1;
    }
    source = outerSource;
    line = outerLine;
}

void Parser::Include(const std::string& value) {
    const std::wstring name = Unquoted(value);
    std::string text;
    if (included_) {
        Complain("an included file includes no other");
    }
    if (!ReadMachineFile(name, &text)) {
        Complain(value + " cannot be read");
    }
    included_ = true;
    Text(text, name);
    included_ = false;
}

[[noreturn]] static void Lacks(const std::wstring& name, const char* what) {
    Complain(Narrow(name) + ": " + what);
}

void Parser::CheckReferences() const {
    const Machine& machine = machine_;
    for (const auto& adapter : machine.adapters) {
        if (std::count(adapter.instance.begin(), adapter.instance.end(), L'\\') != 2) {
            Lacks(adapter.name, "instance must have three parts");
        }
    }
    for (const auto& team : machine.teams) {
        if (!machine.protocolInstalled) {
            Lacks(team.name, "a team needs protocol = installed");
        }
        if (team.guid.empty() || team.members.empty()) {
            Lacks(team.name, "guid and members are needed");
        }
        if (!team.order.empty() && team.order.size() != team.members.size()) {
            Lacks(team.name, "order must have as many entries as members");
        }
        for (const auto& member : team.members) {
            if (!machine.FindAdapter(member)) {
                Lacks(team.name, ("no adapter " + Narrow(member)).c_str());
            }
        }
    }
    for (const auto& vlan : machine.vlans) {
        if (!machine.protocolInstalled) {
            Lacks(vlan.name, "a VLAN needs protocol = installed");
        }
        if (vlan.guid.empty() ||
            (!machine.FindAdapter(vlan.host) && !machine.FindTeam(vlan.host))) {
            Lacks(vlan.name, "guid and an existing host are needed");
        }
    }
}

Machine Parser::Finish() {
    line = 0;
    CheckReferences();
    const Ndis ofWindows = NdisOfWindows(machine_.windows);
    unsigned number = 0;
    const auto resolve = [&](const std::wstring& section, bool hostPort) {
        const AnswerLines& lines = allAnswers_[section];
        const Ndis ndis = lines.ndis.value_or(ofWindows);
        number++;
        return lines.Resolve(hostPort ? HostPortAnswers(ndis) : StandardAnswers(number, ndis));
    };
    for (auto& adapter : machine_.adapters) {
        adapter.answers = resolve(adapter.name, !adapter.hostInterface.empty());
    }
    for (auto& team : machine_.teams) {
        team.answers = resolve(team.name, false);
    }
    for (auto& vlan : machine_.vlans) {
        vlan.answers = resolve(vlan.name, false);
    }
    return std::move(machine_);
}

} // namespace

bool MachineParse(const std::string& text, const std::wstring& source, Machine* machine,
                  std::wstring* error) {
    Parser parser;
    try {
        parser.Text(text, source);
        *machine = parser.Finish();
        return true;
    } catch (const Complaint& complaint) {
        const std::wstring where = parser.line ? L":" + std::to_wstring(parser.line) : L"";
        *error = (parser.source.empty() ? source : parser.source) + where + L": " +
                 Wide(complaint.what());
        return false;
    }
}

bool MachineLoad(const std::wstring& path, Machine* machine, std::wstring* error) {
    std::string text;
    if (!ReadMachineFile(path, &text)) {
        *error = path + L": cannot be read";
        return false;
    }
    return MachineParse(text, path, machine, error);
}

template <typename List> static auto FindByName(List& list, const std::wstring& name) {
    const auto found =
        std::find_if(list.begin(), list.end(), [&](auto& item) { return item.name == name; });
    return found == list.end() ? nullptr : &*found;
}

MachineAdapter* Machine::FindAdapter(const std::wstring& name) {
    return FindByName(adapters, name);
}

const MachineAdapter* Machine::FindAdapter(const std::wstring& name) const {
    return FindByName(adapters, name);
}

MachineTeam* Machine::FindTeam(const std::wstring& name) {
    return FindByName(teams, name);
}

const MachineTeam* Machine::FindTeam(const std::wstring& name) const {
    return FindByName(teams, name);
}
