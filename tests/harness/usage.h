// What a process holds at a moment. Where the system does not keep the counts itself, every handle
// that there could be is looked at.
#pragma once

#include <windows.h>

#include <algorithm>
#include <ostream>

struct Usage {
    unsigned kernelHandles = 0;
    unsigned gdiObjects = 0;
    unsigned userObjects = 0;
    size_t privateBytes = 0; // committed, outside of the heaps
    size_t heapBytes = 0;    // in use: the pieces in which a heap grows say nothing about a leak

    static Usage Now() {
        Usage now;
        now.kernelHandles = KernelHandles();
        now.gdiObjects = GdiObjects();
        now.userObjects = UserObjects();
        HeapMemory heaps;
        now.heapBytes = HeapBytes(&heaps);
        now.privateBytes = PrivateBytes(heaps);
        return now;
    }

  private:
    static unsigned KernelHandles() {
        DWORD counted = 0;
        if (GetProcessHandleCount(GetCurrentProcess(), &counted) && counted != 0)
            return counted;
        for (ULONG_PTR value = 4; value < 0x4000; value += 4) {
            DWORD flags;
            counted += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE;
        }
        return counted;
    }

    static unsigned GdiObjects() {
        unsigned counted = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
        if (counted != 0)
            return counted;
        for (ULONG_PTR value = 1; value < 0x10000; value++)
            counted += GetObjectType(reinterpret_cast<HGDIOBJ>(value)) != 0;
        return counted;
    }

    static bool IsOwnWindow(HWND window) {
        DWORD process = 0;
        return GetWindowThreadProcessId(window, &process) != 0 && process == GetCurrentProcessId();
    }

    static bool IsIcon(HICON icon) {
        ICONINFO info = {};
        if (!GetIconInfo(icon, &info))
            return false;
        DeleteObject(info.hbmColor);
        DeleteObject(info.hbmMask);
        return true;
    }

    static unsigned UserObjects() {
        unsigned counted = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
        if (counted != 0)
            return counted;
        for (ULONG_PTR value = 0x20; value < 0x8000; value += 2) {
            counted += IsOwnWindow(reinterpret_cast<HWND>(value)) ||
                       IsMenu(reinterpret_cast<HMENU>(value)) ||
                       IsIcon(reinterpret_cast<HICON>(value));
        }
        return counted;
    }

    // Where the heaps have their memory. Kept in place, because a heap is not to grow while it is walked.
    struct HeapMemory {
        const void* allocations[512];
        size_t count = 0;

        bool has(const void* allocation) const {
            return std::find(allocations, allocations + count, allocation) != allocations + count;
        }
        void add(const void* address) {
            MEMORY_BASIC_INFORMATION region;
            if (VirtualQuery(address, &region, sizeof(region)) != 0 &&
                !has(region.AllocationBase) && count < ARRAYSIZE(allocations))
                allocations[count++] = region.AllocationBase;
        }
    };

    static size_t HeapBytes(HeapMemory* memory) {
        HANDLE heaps[64];
        size_t bytes = 0;
        const DWORD count = GetProcessHeaps(ARRAYSIZE(heaps), heaps);
        for (DWORD i = 0; i < count && i < ARRAYSIZE(heaps); i++) {
            PROCESS_HEAP_ENTRY entry = {};
            memory->add(heaps[i]);
            HeapLock(heaps[i]);
            while (HeapWalk(heaps[i], &entry)) {
                memory->add(entry.lpData);
                if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
                    bytes += entry.cbData;
            }
            HeapUnlock(heaps[i]);
        }
        return bytes;
    }

    static size_t PrivateBytes(const HeapMemory& heaps) {
        size_t bytes = 0;
        MEMORY_BASIC_INFORMATION region;
        for (BYTE* at = nullptr; VirtualQuery(at, &region, sizeof(region)) != 0;
             at = static_cast<BYTE*>(region.BaseAddress) + region.RegionSize) {
            if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE &&
                !heaps.has(region.AllocationBase))
                bytes += region.RegionSize;
        }
        return bytes;
    }
};

inline std::ostream& operator<<(std::ostream& out, const Usage& usage) {
    return out << usage.kernelHandles << " kernel handles, " << usage.gdiObjects << " GDI objects, "
               << usage.userObjects << " USER objects, " << usage.heapBytes
               << " bytes in heap blocks, " << usage.privateBytes << " private bytes elsewhere";
}
