#include "compare.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace {

using Facts = std::map<std::string, std::string>;

// A member's name is stored with all the bytes of its buffer, whatever its length.
const char kStoredSize[] = " (512 bytes)";
const char kDevice[] = "device\\";
const char kVirtualDevice[] = "device\\ROOT\\NET\\";
const char kName[] = "\\enum\\FriendlyName";
const char kAddress[] = "\\driver\\NetworkAddress";
const char kInstanceId[] = "\\driver\\NetCfgInstanceId";
const unsigned long kHidden = 8; // NCF_HIDDEN

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string ValueOf(const Facts& facts, const std::string& path) {
    const auto found = facts.find(path);
    return found == facts.end() ? std::string() : found->second;
}

Facts FactsOf(const std::string& dump) {
    Facts facts;
    size_t start = 0;
    for (size_t end; (end = dump.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string line = dump.substr(start, end - start);
        const size_t equals = line.find(" = ");
        if (equals != std::string::npos) {
            facts[line.substr(0, equals)] = line.substr(equals + 3);
        }
    }
    return facts;
}

unsigned long NumberOf(const std::string& value) {
    const size_t digits = value.find("0x");
    return digits == std::string::npos ? 0 : std::strtoul(value.c_str() + digits, nullptr, 16);
}

// "REG_SZ "text" (512 bytes)" without the size.
std::string WithoutSize(const std::string& value) {
    return EndsWith(value, kStoredSize) ? value.substr(0, value.size() - sizeof(kStoredSize) + 1)
                                        : value;
}

class Comparison {
  public:
    Comparison(const std::string& before, const std::string& after)
        : before_(FactsOf(before)), after_(FactsOf(after)) {
        FindFormerMembers();
    }

    std::vector<DumpChange> Changes() const {
        std::set<std::string> paths;
        for (const Facts* facts : {&before_, &after_}) {
            for (const auto& fact : *facts) {
                paths.insert(fact.first);
            }
        }
        std::vector<DumpChange> changes;
        for (const std::string& path : paths) {
            const std::string old = ValueOf(before_, path);
            const std::string now = ValueOf(after_, path);
            if (old == now) {
                continue;
            }
            DumpChange change;
            Explain(path, old, now, &change);
            if (before_.count(path) != 0) {
                change.added = false;
                change.line = path + " = " + old;
                changes.push_back(change);
            }
            if (after_.count(path) != 0) {
                change.added = true;
                change.line = path + " = " + now;
                changes.push_back(change);
            }
        }
        return changes;
    }

  private:
    // A former member of a team is a device whose name the program has stored. A team's adapter may have
    // been the host of a VLAN.
    void FindFormerMembers() {
        for (const auto& [path, value] : after_) {
            if (EndsWith(path, kName) && EndsWith(value, kStoredSize)) {
                const std::string device = path.substr(0, path.size() - sizeof(kName) + 1);
                memberDevices_.insert(device);
                AddRebound(ValueOf(after_, device + kInstanceId));
            } else if (StartsWith(path, kVirtualDevice) && EndsWith(path, kInstanceId)) {
                AddRebound(value);
            }
        }
    }

    void AddRebound(const std::string& guid) {
        const size_t brace = guid.find('{');
        if (brace != std::string::npos) {
            reboundGuids_.insert(guid.substr(brace, 38));
        }
    }

    void Explain(const std::string& path, const std::string& old, const std::string& now,
                 DumpChange* change) const {
        change->reason = Trace(path, old, now);
        change->trace = change->reason != nullptr;
        if (change->reason == nullptr) {
            change->reason = LostSetting(path, old, now);
        }
    }

    const char* Trace(const std::string& path, const std::string& old,
                      const std::string& now) const {
        if (StartsWith(path, "network\\{51560000-0000-4000-8000-") && now == "key") {
            return "Windows keeps the key of an adapter that is gone; its Connection is deleted";
        }
        if (path == "qvteamp\\Parameters\\Adapters" && now == "key") {
            return "the key above the members' records stays, empty";
        }
        if (StartsWith(path, "service\\qvteammp\\") && !now.empty()) {
            return "the miniport driver stays installed";
        }
        if (EndsWith(path, kName) && !old.empty() && WithoutSize(old) == WithoutSize(now)) {
            return "a member's name is stored with all of its 512 bytes";
        }
        return nullptr;
    }

    const char* LostSetting(const std::string& path, const std::string& old,
                            const std::string& now) const {
        if (StartsWith(path, "path\\")) {
            const size_t guid = path.find("->{");
            const bool rebound =
                guid != std::string::npos && reboundGuids_.count(path.substr(guid + 2)) != 0;
            return rebound && StartsWith(old, "disabled") && now == "enabled"
                       ? "a removal enables every binding above the adapter, also one that was off"
                       : nullptr;
        }
        const std::string device = DeviceOf(path);
        if (memberDevices_.count(device) == 0) {
            return nullptr;
        }
        const std::string name = path.substr(device.size());
        if (name == kAddress && now.empty()) {
            return "a member's own address gives way to the team's, which goes with the team";
        }
        if (name == "\\driver\\Characteristics" && NumberOf(now) == (NumberOf(old) & ~kHidden)) {
            return "a removal shows every member among the network connections";
        }
        const std::string ownAddress = device + kAddress;
        if (name == "\\bench\\CurrentAddress" && before_.count(ownAddress) != 0 &&
            after_.count(ownAddress) == 0) {
            return "a member's own address gives way to the team's, which goes with the team";
        }
        if (name == "\\connection" && now == "listed") {
            return "a removal shows every member among the network connections";
        }
        if (name == kName && old.empty() &&
            WithoutSize(now) == ValueOf(after_, device + "\\enum\\DeviceDesc")) {
            return "a member without a name gets its description as its name";
        }
        if (name == kName && !old.empty() && IsCut(WithoutSize(old), WithoutSize(now))) {
            return "a member's name and the team's share 255 characters; the rest is cut";
        }
        return nullptr;
    }

    // Both end in a quotation mark.
    static bool IsCut(const std::string& old, const std::string& now) {
        return now.size() < old.size() && StartsWith(old, now.substr(0, now.size() - 1));
    }

    // "device\A\B\C" of a path below the device of instance id A\B\C.
    static std::string DeviceOf(const std::string& path) {
        if (!StartsWith(path, kDevice)) {
            return "";
        }
        for (const char* part : {"\\enum\\", "\\driver\\", "\\bench\\", "\\connection"}) {
            const size_t at = path.find(part);
            if (at != std::string::npos) {
                return path.substr(0, at);
            }
        }
        return "";
    }

    const Facts before_;
    const Facts after_;
    std::set<std::string> memberDevices_; // "device\INSTANCE"
    std::set<std::string> reboundGuids_;
};

} // namespace

std::vector<DumpChange> MachineCompare(const std::string& before, const std::string& after) {
    return Comparison(before, after).Changes();
}
