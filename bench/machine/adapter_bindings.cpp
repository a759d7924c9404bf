#include "adapter_bindings.h"

#include "text.h"

#include <algorithm>

namespace qvmachine {

// From a public registry export of the network class, Windows 7; the id of the first is that of any
// other adapter.
static const struct {
    const wchar_t* hardwareId;
    Ranges ranges;
} kRanges[] = {
    {L"", {L"ndis5", L"ethernet"}},
    {L"QV_QVTEAMMP", {L"ndis5", L"nolower"}},
    {L"ms_ndiswanip", {L"ndiswanip", L"wan"}},
    {L"ms_ndiswanipv6", {L"ndiswanipv6", L"wan"}},
    {L"ms_ndiswanbh", {L"ndiswanbh", L"wan"}},
    {L"ms_pppoeminiport", {L"ndiscowan", L"nolower"}},
    {L"ms_l2tpminiport", {L"ndiscowan", L"nolower"}},
    {L"ms_pptpminiport", {L"ndiscowan", L"nolower"}},
    {L"ms_sstpminiport", {L"ndiscowan", L"nolower"}},
    {L"ms_agilevpnminiport", {L"ndiscowan", L"nolower"}},
    {L"ms_greminiport", {L"ndiscowan", L"nolower"}}, // unverified
    {L"bth\\ms_bthpan", {L"ndis5", L"nolower,bluetooth"}},
};

Ranges RangesOf(const MachineAdapter& adapter, const std::vector<std::wstring>& hardwareIds) {
    Ranges ranges = kRanges[0].ranges;
    for (const auto& kind : kRanges) {
        for (const auto& id : hardwareIds) {
            if (SameText(id, kind.hardwareId)) {
                ranges = kind.ranges;
            }
        }
    }
    return {adapter.upperRange.value_or(ranges.upper), adapter.lowerRange.value_or(ranges.lower)};
}

static bool Contains(const std::vector<std::wstring>& ids, const std::wstring& id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// A port of a Hyper-V switch: of the items that a property page lists, only the switch protocol and
// LLDP stay ticked. Unverified for what no page lists and for the teaming protocol: as by default.
static std::optional<bool> StateOnSwitchedPort(const NetCfgComponent& owner) {
    if (owner.id == L"vms_pp") {
        return true;
    }
    const bool stays = owner.hidden || owner.id == L"ms_lldp" || owner.id == L"qv_qvteamp";
    return stays ? std::optional<bool>() : false;
}

std::optional<bool> StateOf(const MachineAdapter& adapter, const NetCfgPath& path,
                            const NetCfgComponent& owner) {
    for (const auto& id : adapter.unbound) {
        if (Contains(path.ids, id)) {
            return false;
        }
    }
    return adapter.switched ? StateOnSwitchedPort(owner) : std::nullopt;
}

} // namespace qvmachine
