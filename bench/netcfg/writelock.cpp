#include "writelock.h"

#include <algorithm>
#include <atomic>

#include "benchlink.h"
#include "lock_token.h"
#include "netcfg_key.h"

namespace {

const wchar_t kHolderKey[] = L"Software\\QvBench\\NetCfgLock";
const wchar_t kMachineKey[] = L"Software\\QvBench\\Machine";
const DWORD kForGood = 0xFFFFFFFF;
// Waiting for a real process: this much bench time passes for each short real pause.
const DWORD kBenchStep = 100;
const DWORD kRealPause = 10;

std::atomic<long> g_heldHere{0};
std::atomic<long> g_forgotten{0};

// Milliseconds of bench time for which the machine's imaginary client still holds the lock.
ULONGLONG ImaginaryHolder(std::wstring* holder) {
    const NetCfgKey machine = NetCfgKey::Open(kMachineKey);
    const std::wstring name = machine.Text(L"LockHolder").value_or(L"");
    if (name.empty()) {
        return 0;
    }
    *holder = name;
    const DWORD seconds = machine.Number(L"LockSeconds").value_or(kForGood);
    const ULONGLONG end = seconds == kForGood ? ~0ull : seconds * 1000ull;
    const ULONGLONG now = BenchLinkNow();
    return end > now ? end - now : 0;
}

std::wstring RealHolder() {
    return NetCfgKey::Open(kHolderKey).Text(L"Description").value_or(L"");
}

HANDLE CreateToken() {
    return CreateNamedPipeW(kLockToken, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
                            PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
}

} // namespace

WriteLock::~WriteLock() {
    g_forgotten += Held();
    Release();
}

bool WriteLock::Acquire(DWORD timeout, const std::wstring& description, std::wstring* holder) {
    for (DWORD waited = 0;;) {
        const ULONGLONG imaginary = ImaginaryHolder(holder);
        if (imaginary == 0) {
            if (TryOwn(description)) {
                return true;
            }
            *holder = RealHolder();
        }
        if (waited >= timeout) {
            return false;
        }
        DWORD step = timeout - waited;
        if (imaginary != 0) {
            step = static_cast<DWORD>(std::min<ULONGLONG>(step, imaginary));
        } else {
            step = std::min(step, kBenchStep);
            Sleep(kRealPause);
        }
        BenchLinkAdvance(step);
        waited += step;
    }
}

bool WriteLock::TryOwn(const std::wstring& description) {
    token_ = CreateToken();
    if (!Held()) {
        return false;
    }
    NetCfgKey::Create(kHolderKey, REG_OPTION_VOLATILE).Write(L"Description", description);
    ++g_heldHere;
    return true;
}

void WriteLock::Release() {
    if (!Held()) {
        return;
    }
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kHolderKey);
    CloseHandle(token_);
    token_ = INVALID_HANDLE_VALUE;
    --g_heldHere;
}

bool WriteLock::Held() const {
    return token_ != INVALID_HANDLE_VALUE;
}

bool WriteLock::HeldByAnyone(std::wstring* holder) {
    if (ImaginaryHolder(holder) != 0) {
        return true;
    }
    HANDLE token = CreateToken();
    if (token != INVALID_HANDLE_VALUE) {
        CloseHandle(token);
        return false;
    }
    *holder = RealHolder();
    return true;
}

long WriteLock::HeldHere() {
    return g_heldHere;
}

long WriteLock::Forgotten() {
    return g_forgotten;
}
