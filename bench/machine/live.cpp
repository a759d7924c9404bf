// The machine under a running program: a cable is pulled, a counter runs, a driver refuses or goes.
#include "live.h"

#include "../driver/qvnic_ioctl.h"
#include "driver_control.h"
#include "layout.h"
#include "registry.h"
#include "text.h"
#include "values.h"

using namespace qvmachine;

// The driver reads the step after the answer: an answer without one loses the old step first.
void qvmachine::WriteAnswer(const std::wstring& path, DWORD oid, const OidAnswer& answer) {
    const std::wstring steps = path + L"\\" QVNIC_STEPS;
    DeleteValue(steps, Hex(oid));
    Key::Create(path + L"\\" QVNIC_ANSWERS)
        .Set(answer.refused ? MachineValue::Number(Hex(oid), answer.status)
                            : MachineValue{Hex(oid), REG_BINARY, answer.bytes});
    if (answer.step) {
        MachineValue step = {Hex(oid), REG_BINARY, std::vector<BYTE>(sizeof answer.step)};
        memcpy(step.data.data(), &answer.step, sizeof answer.step);
        Key::Create(steps).Set(step);
    }
}

static std::wstring FindAdapterData(const std::wstring& adapter) {
    for (const auto& guid : Key::Open(layout::kAdapters).Subkeys()) {
        const std::wstring path = std::wstring(layout::kAdapters) + L"\\" + guid;
        if (SameText(guid, adapter) || Key::Open(path).Text(layout::kSection) == adapter) {
            return path;
        }
    }
    Complain("no adapter " + Narrow(adapter) + " stands");
}

static void Change(const std::wstring& path, const std::string& key, const std::string& value) {
    if (StartsWith(key, "oid ")) {
        const DWORD oid = Dword(Trim(key.substr(4)));
        if (const auto answer = Answer(value)) {
            WriteAnswer(path, oid, *answer);
        } else {
            DeleteValue(path + L"\\" QVNIC_STEPS, Hex(oid));
            DeleteValue(path + L"\\" QVNIC_ANSWERS, Hex(oid));
        }
    } else if (StartsWith(key, "counter ")) {
        WriteAnswer(path, Dword(Trim(key.substr(8))), Counter(value));
    } else if (key == "opens") {
        Key::Create(path).Set(QVNIC_OPENS, YesNo(value));
    } else if (key == "answers-left") {
        if (const auto left = AnswersLeft(value)) {
            Key::Create(path).Set(QVNIC_ANSWERS_LEFT, *left);
        } else {
            DeleteValue(path, QVNIC_ANSWERS_LEFT);
        }
    } else {
        Complain("nothing of this name changes on a standing machine: " + key);
    }
}

bool MachineChange(const std::wstring& adapter, const std::string& key, const std::string& value,
                   std::wstring* error) {
    try {
        Change(FindAdapterData(adapter), key, value);
    } catch (const Complaint& complaint) {
        *error = Wide(complaint.what());
        return false;
    }
    // A driver that came back needs its device.
    if (!DriverSync()) {
        *error = L"the adapters' driver does not run";
        return false;
    }
    return true;
}
