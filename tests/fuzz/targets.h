// What is fuzzed: each target makes its input out of the bytes, runs one family of deciding functions
// and checks what they promise.
#pragma once

#include "input.h"

struct FuzzTarget {
    const char* name; // and its corpus' folder
    void (*run)(Input& input);
    size_t most; // bytes of the longest input that is of use
};

// What makes records or devices asks for as much as it is given, and this holds several of their values
// at their longest. Any other target asks for no more than its own number.
constexpr size_t kManyRecords = 4096;

// Drivers' answers.
void FuzzTaskList(Input& input);
void FuzzOffloadRecord(Input& input);
void FuzzDriverAnswers(Input& input);
void FuzzAdapterText(Input& input);

// Texts.
void FuzzGuidText(Input& input);
void FuzzMemberName(Input& input);
void FuzzTeamName(Input& input);
void FuzzNewVlan(Input& input);
void FuzzInf(Input& input);

// Registry values and records.
void FuzzRegistryText(Input& input);
void FuzzVlanBinding(Input& input);
void FuzzVlanRecords(Input& input);
void FuzzTeamRecords(Input& input);

// Devices.
void FuzzVlanList(Input& input);
void FuzzNetDevices(Input& input);
