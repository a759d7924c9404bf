// The fuzzer's door. The target is named by --target=NAME, an argument that the fuzzer itself passes
// by and hands on to the processes that it starts. --list tells the targets, --most-bytes how long an
// input of the named one may be.
#include "machine.h"
#include "targets.h"

#include <stdio.h>

static const FuzzTarget targets[] = {
    {"task_list", FuzzTaskList, 256},
    {"offload_record", FuzzOffloadRecord, 140},
    {"driver_answers", FuzzDriverAnswers, 3100},
    {"adapter_text", FuzzAdapterText, 30},
    {"guid_text", FuzzGuidText, 170},
    {"member_name", FuzzMemberName, 3700},
    {"team_name", FuzzTeamName, 4100},
    {"new_vlan", FuzzNewVlan, 3100},
    {"inf", FuzzInf, 8000},
    {"registry_text", FuzzRegistryText, 4700},
    {"vlan_binding", FuzzVlanBinding, 8900},
    {"vlan_records", FuzzVlanRecords, kManyRecords},
    {"team_records", FuzzTeamRecords, kManyRecords},
    {"vlan_list", FuzzVlanList, kManyRecords},
    {"net_devices", FuzzNetDevices, kManyRecords},
};

static const FuzzTarget* g_target;

[[noreturn]] void FailCheck(const char* condition, const char* file, int line) {
    fprintf(stderr, "%s:%d: check failed in %s: %s\n", file, line, g_target->name, condition);
    abort();
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static const char option[] = "--target=";
    bool tellMost = false;
    for (int i = 1; i < *argc; i++) {
        if (strcmp((*argv)[i], "--list") == 0) {
            for (const FuzzTarget& target : targets)
                puts(target.name);
            exit(0);
        }
        tellMost |= strcmp((*argv)[i], "--most-bytes") == 0;
        if (strncmp((*argv)[i], option, sizeof(option) - 1) != 0)
            continue;
        for (const FuzzTarget& target : targets) {
            if (strcmp(target.name, (*argv)[i] + sizeof(option) - 1) == 0)
                g_target = &target;
        }
    }
    if (g_target == nullptr) {
        fprintf(stderr, "usage: fuzz --target=NAME ..., fuzz --target=NAME --most-bytes, "
                        "fuzz --list\n");
        exit(2);
    }
    if (tellMost) {
        printf("%zu\n", g_target->most);
        exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const BYTE* data, size_t size) {
    Input input(data, size);
    ResetMachine();
    g_target->run(input);
    CheckAllClosed();
    // No input of the length that the fuzzer is told is too short.
    CHECK(g_target->most == kManyRecords || input.asked() <= g_target->most);
    return 0;
}
