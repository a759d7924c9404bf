// What Windows publishes, for the parts of its interface that no constant expression reaches.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

struct PublishedId {
    const char* name;
    std::string published; // "{8-4-4-4-12}"
    GUID used;             // by the product
};

// A handle, or the place of a method in its interface's table, from QueryInterface, 0, on.
struct PublishedNumber {
    const char* name;
    ULONG_PTR published;
    ULONG_PTR used;
};

std::vector<PublishedId> PublishedIds();
std::vector<PublishedNumber> PublishedHandles();
std::vector<PublishedNumber> PublishedSlots();
