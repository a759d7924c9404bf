// Tests that use the network configuration: what they take from it has to be given back.
#pragma once

#include "harness/devices.h"
#include "qvnetcfg.h"

#include <objbase.h>

#include <atomic>

using TextList = std::vector<std::wstring>;

inline const wchar_t kPort0[] = L"{A0000000-0000-4000-8000-000000000001}";
inline const wchar_t kPort1[] = L"{A0000000-0000-4000-8000-000000000002}";
inline const wchar_t kVirtual[] = L"{C0000000-0000-4000-8000-000000000001}";
inline const wchar_t kNobody[] = L"{A0000000-0000-4000-8000-0000000000FF}";

// Counts the blocks that pass through the task allocator.
class TaskMemorySpy final : public IMallocSpy {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IMallocSpy ? this : nullptr;
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return 2;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return 1;
    }
    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override {
        return size;
    }
    void* STDMETHODCALLTYPE PostAlloc(void* block) override {
        taken += block != nullptr;
        return block;
    }
    void* STDMETHODCALLTYPE PreFree(void* block, BOOL spied) override {
        freed += spied && block != nullptr;
        return block;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {
    }
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** given, BOOL) override {
        *given = block;
        return size;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override {
        return block;
    }
    void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override {
        return block;
    }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override {
        return size;
    }
    void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override {
        return block;
    }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override {
        return actual;
    }
    void STDMETHODCALLTYPE PreHeapMinimize() override {
    }
    void STDMETHODCALLTYPE PostHeapMinimize() override {
    }

    std::atomic<int> taken{0};
    std::atomic<int> freed{0};
};

// What the task allocator gives and gets back for as long as this lives. The spy itself is never
// destroyed: the allocator keeps it until the last block is back, which may be never.
class TaskMemory {
  public:
    TaskMemory() : spy_(*new TaskMemorySpy) {
        EXPECT_EQ(S_OK, CoRegisterMallocSpy(&spy_));
    }
    ~TaskMemory() {
        CoRevokeMallocSpy();
    }
    TaskMemory(const TaskMemory&) = delete;
    TaskMemory& operator=(const TaskMemory&) = delete;

    int taken() const {
        return spy_.taken;
    }
    int left() const {
        return spy_.taken - spy_.freed;
    }

  private:
    TaskMemorySpy& spy_;
};

class NetworkTest : public MachineTest {
  protected:
    static void SetUpTestSuite() {
        // Kept loaded, so that its counts outlive the product's apartment.
        static HMODULE server = LoadLibraryW(L"qvnetcfg.dll");
        ASSERT_NE(nullptr, server);
        objects_ = Entry<decltype(&NetCfgLiveObjects)>(server, "NetCfgLiveObjects");
        lockHeld_ = Entry<decltype(&NetCfgLockHeld)>(server, "NetCfgLockHeld");
        ASSERT_NE(nullptr, objects_);
        ASSERT_NE(nullptr, lockHeld_);
    }

    static BOOL NetCfgLockHeld() {
        return lockHeld_();
    }
    static long NetCfgLiveObjects() {
        return objects_();
    }

    // Calls of one method; the bench has not heard of one that was never called.
    static unsigned MethodCalls(const std::wstring& method) {
        wchar_t count[16] = L"";
        return BenchCommand((L"calls " + method).c_str(), count, 16) ? std::stoul(count) : 0;
    }

    static void ExpectAllGivenBack() {
        EXPECT_EQ(0, NetCfgLiveObjects());
        EXPECT_FALSE(NetCfgLockHeld());
        EXPECT_EQ("", StillOpen());
    }

  private:
    template <class Function> static Function Entry(HMODULE server, const char* name) {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(server, name)));
    }

    inline static decltype(&::NetCfgLiveObjects) objects_;
    inline static decltype(&::NetCfgLockHeld) lockHeld_;
};
