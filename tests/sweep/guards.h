// Guard pages behind what the product hands to the platform, and a platform that lies.
//
// Covered: every heap block and every page allocation of the product lies with its last byte in front
// of a page that nobody may touch, and stays forbidden after its release. Every call that fills a
// buffer fills one of exactly the stated length in front of such a page, which is then copied to the
// product's buffer whole: a platform that writes too far, and a stated length that is more than the
// block has, are both seen. A stack buffer has the compiler's canary behind it: a stated length that takes it
// in breaks it.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

struct GuardCounts {
    ULONGLONG calls = 0;     // guarded calls, which a loop could ask for again
    ULONGLONG blocks = 0;    // guarded allocations
    ULONGLONG bounced = 0;   // buffers that were filled in front of a guard page
    ULONGLONG unbounced = 0; // larger than the guarded area: filled directly
};

// What happens between the product's calls.
struct GuardHooks {
    std::function<void()> beforeCall;                  // before each guarded call
    std::function<void(HKEY, LPCWSTR)> afterSizeQuery; // a value's size has just been told
    std::function<void(BYTE*, DWORD, DWORD*)>
        afterQuery; // a driver has answered: buffer, size, told
};

// Puts the guards in front of the bench's wrappers. Once per process.
void GuardImports();

extern GuardHooks g_guardHooks;
extern GuardCounts g_guardCounts;

// Blocks and pages that are allocated now.
size_t GuardedBlocks();
void ForgetGuardedBlocks();

// Called for an access that a guard forbids and for any other fault inside the product; does not
// return.
void WatchFaults(void (*fault)(const std::string& what));
