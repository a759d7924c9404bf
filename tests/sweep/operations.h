// What the sweep does to a machine, again and again: each operation is one press of a button, with
// everything before it done already.
#pragma once

#include "harness/page_host.h"
#include "harness/vlan_host.h"
#include "machine.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// "path = value" of a machine's dump and of what stands on the pages.
using Facts = std::map<std::string, std::string>;

// One opened program on the machine.
struct Stage {
    std::unique_ptr<PageHost> page;
    std::unique_ptr<VlanPageHost> vlans;
    Facts shown; // of a sheet that has been closed again, and of a button that could not be pressed
    int ticked = 0; // rows that the last press was about
};

struct Operation {
    const char* name;
    void (*describe)(Machine* machine);
    void (*open)(Stage* stage);  // up to the press of the button
    void (*act)(Stage* stage);   // what is counted and made to fail
    void (*again)(Stage* stage); // the same once more, on what the first left
};

const std::vector<Operation>& Operations();
const Operation* FindOperation(const std::string& name);

// Whether what an operation begins with is the machine alone: it reads the lists anew.
bool ReadsListsAnew(const std::string& operation);

// Whether a control and all windows about it can be used.
bool IsUsable(HWND control);

// Whether a fact of the machine is about an adapter that no operation is about.
bool IsOfBystander(const std::string& path);

// What the pages show now.
Facts ShownFacts(const Stage& stage);

std::string NarrowText(const std::wstring& text);
