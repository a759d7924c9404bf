// The binding paths of the network configuration, worked out from the ranges of its components and
// adapters.
#include "model.h"

#include <algorithm>
#include <set>

namespace {

const wchar_t kArrow[] = L"->";
const wchar_t kBlanks[] = L" \t";

bool MatchesNothing(const std::wstring& name) {
    return lstrcmpiW(name.c_str(), L"noupper") == 0 || lstrcmpiW(name.c_str(), L"nolower") == 0;
}

// The first of the wanted interfaces that is among the offered ones; empty when none is.
std::wstring SharedInterface(const std::vector<std::wstring>& wanted,
                             const std::vector<std::wstring>& offered) {
    for (const std::wstring& name : wanted) {
        for (const std::wstring& other : offered) {
            if (!MatchesNothing(name) && lstrcmpiW(name.c_str(), other.c_str()) == 0) {
                return name;
            }
        }
    }
    return {};
}

// The chains of components that lead from one component down to an adapter.
class PathFinder {
  public:
    PathFinder(const std::vector<NetCfgComponent>& components,
               const std::vector<NetCfgAdapter>& adapters)
        : components_(components), adapters_(adapters) {
    }

    std::vector<NetCfgPath> Below(const NetCfgComponent& owner) {
        found_.clear();
        chain_ = {};
        Walk(owner);
        std::stable_sort(found_.begin(), found_.end(),
                         [](const auto& a, const auto& b) { return a.ids.size() > b.ids.size(); });
        for (NetCfgPath& path : found_) {
            const auto state = states_.find(path.token);
            path.switchedOn = state != states_.end() ? state->second : owner.boundByDefault;
        }
        return found_;
    }

  private:
    void Walk(const NetCfgComponent& component) {
        // Two components that each bind to the other would never end.
        if (std::find(chain_.ids.begin(), chain_.ids.end(), component.id) != chain_.ids.end()) {
            return;
        }
        chain_.ids.push_back(component.id);
        for (const NetCfgComponent& next : components_) {
            const std::wstring shared = SharedInterface(component.lowerRange, next.upperRange);
            // A filter is bound to an adapter only, and nothing is bound to a filter.
            if (!shared.empty() && !component.IsFilter() && !next.IsFilter()) {
                chain_.interfaces.push_back(shared);
                Walk(next);
                chain_.interfaces.pop_back();
            }
        }
        for (const NetCfgAdapter& adapter : adapters_) {
            EndAt(adapter,
                  SharedInterface(component.lowerRange,
                                  component.IsFilter() ? adapter.lowerRange : adapter.upperRange));
        }
        chain_.ids.pop_back();
    }

    void EndAt(const NetCfgAdapter& adapter, const std::wstring& shared) {
        if (shared.empty()) {
            return;
        }
        NetCfgPath path = chain_;
        path.interfaces.push_back(shared);
        for (const std::wstring& id : path.ids) {
            path.token += id + kArrow;
        }
        path.token += adapter.guid;
        path.adapterGuid = adapter.guid;
        found_.push_back(path);
    }

    const std::vector<NetCfgComponent>& components_;
    const std::vector<NetCfgAdapter>& adapters_;
    const std::map<std::wstring, bool> states_ = NetCfgPathStates();
    NetCfgPath chain_;
    std::vector<NetCfgPath> found_;
};

} // namespace

std::vector<NetCfgPath> NetCfgPaths() {
    return NetCfgPaths(NetCfgComponents(), NetCfgAdapters());
}

std::vector<NetCfgPath> NetCfgPaths(const std::vector<NetCfgComponent>& components,
                                    const std::vector<NetCfgAdapter>& adapters) {
    PathFinder finder(components, adapters);
    std::vector<NetCfgPath> paths;
    for (const NetCfgComponent& owner : components) {
        const std::vector<NetCfgPath> below = finder.Below(owner);
        paths.insert(paths.end(), below.begin(), below.end());
    }
    NetCfgSettlePaths(&paths);
    return paths;
}

void NetCfgSettlePaths(std::vector<NetCfgPath>* paths) {
    std::set<std::wstring> off;
    for (const NetCfgPath& path : *paths) {
        if (!path.switchedOn) {
            off.insert(path.token);
        }
    }
    for (NetCfgPath& path : *paths) {
        path.enabled = true;
        size_t part = 0;
        for (const std::wstring& id : path.ids) {
            path.enabled = path.enabled && off.count(path.token.substr(part)) == 0;
            part += id.size() + wcslen(kArrow);
        }
    }
}

std::vector<std::wstring> NetCfgRange(const std::wstring& text) {
    std::vector<std::wstring> names;
    for (size_t at = 0; at <= text.size();) {
        const size_t comma = std::min(text.find(L',', at), text.size());
        const std::wstring piece = text.substr(at, comma - at);
        const size_t first = piece.find_first_not_of(kBlanks);
        if (first != std::wstring::npos) {
            names.push_back(piece.substr(first, piece.find_last_not_of(kBlanks) - first + 1));
        }
        at = comma + 1;
    }
    return names;
}
