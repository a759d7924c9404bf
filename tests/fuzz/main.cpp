// The fuzzer's door. The target is named by --target=NAME, an argument that the fuzzer itself passes
// by and hands on to the processes that it starts.
#include "machine.h"
#include "targets.h"

#include <stdio.h>

static const FuzzTarget targets[] = {
    {"task_list", FuzzTaskList},
    {"offload_record", FuzzOffloadRecord},
    {"driver_answers", FuzzDriverAnswers},
    {"adapter_text", FuzzAdapterText},
    {"guid_text", FuzzGuidText},
    {"member_name", FuzzMemberName},
    {"team_name", FuzzTeamName},
    {"new_vlan", FuzzNewVlan},
    {"inf", FuzzInf},
    {"registry_text", FuzzRegistryText},
    {"vlan_binding", FuzzVlanBinding},
    {"vlan_records", FuzzVlanRecords},
    {"team_records", FuzzTeamRecords},
    {"vlan_list", FuzzVlanList},
    {"net_devices", FuzzNetDevices},
};

static const FuzzTarget* g_target;

[[noreturn]] void FailCheck(const char* condition, const char* file, int line) {
    fprintf(stderr, "%s:%d: check failed in %s: %s\n", file, line, g_target->name, condition);
    abort();
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static const char option[] = "--target=";
    for (int i = 1; i < *argc; i++) {
        if (strcmp((*argv)[i], "--list") == 0) {
            for (const FuzzTarget& target : targets)
                puts(target.name);
            exit(0);
        }
        if (strncmp((*argv)[i], option, sizeof(option) - 1) != 0)
            continue;
        for (const FuzzTarget& target : targets) {
            if (strcmp(target.name, (*argv)[i] + sizeof(option) - 1) == 0)
                g_target = &target;
        }
    }
    if (g_target == nullptr) {
        fprintf(stderr, "usage: fuzz --target=NAME ..., fuzz --list\n");
        exit(2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const BYTE* data, size_t size) {
    Input input(data, size);
    ResetMachine();
    g_target->run(input);
    CheckAllClosed();
    return 0;
}
