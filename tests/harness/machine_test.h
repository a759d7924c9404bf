// A test on a simulated machine, inside the test's own process: the product's code runs from its
// DLL, whose imports are the bench's.
#pragma once

#include "bench.h"
#include "harness/journal.h"
#include "machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

// Once per process, before the first test.
void BenchSetUp();

class MachineTest : public testing::Test {
  protected:
    // No fault, hold or answer outlives a test. Fails the test when the product has misused a call.
    void TearDown() override;

    // Loads one of the shipped machines without building it, to be changed first.
    void Load(const std::wstring& name);

    // Builds `machine` and starts with a clean journal, clean counters and no fault.
    void Build();

    void LoadAndBuild(const std::wstring& name) {
        Load(name);
        Build();
    }

    Machine machine;
};

// A bench command that must be accepted; gives its reply.
std::wstring Bench(const std::wstring& command);

// What the bench counts for one function.
unsigned Calls(const std::string& function);

// What the product opened and did not close since Build, "keys=1 sets=1"; empty when there is
// nothing.
std::string StillOpen();

// What the product has misused since the last time, a line each: calls that Windows documents as
// wrong without refusing them.
std::string Misuses();

// Parses a GUID that must be one.
GUID Guid(const std::wstring& text);

// Value of a REG_DWORD or REG_SZ under HKEY_LOCAL_MACHINE; a missing one fails the test.
DWORD RegistryNumber(const std::wstring& key, const std::wstring& value);
std::wstring RegistryText(const std::wstring& key, const std::wstring& value);
bool RegistryHas(const std::wstring& key, const std::wstring& value);
bool RegistryHasKey(const std::wstring& key);
void RegistrySet(const std::wstring& key, const MachineValue& value);
void RegistryDeleteTree(const std::wstring& key);

// The lines of a dump that begin with this text.
std::vector<std::string> DumpLines(const std::string& dump, const std::string& begin);
