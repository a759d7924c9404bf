// The network configuration write lock: one holder on the whole machine, be it an object of this
// process, of another one, or the imaginary client that the machine's data name (LockHolder,
// LockSeconds). A process that dies gives the lock back.
#pragma once

#include <windows.h>

#include <string>

class WriteLock {
  public:
    WriteLock() = default;
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;
    ~WriteLock();

    // Waits at most `timeout` milliseconds of bench time. False when somebody else still holds the
    // lock then; `holder` says who.
    bool Acquire(DWORD timeout, const std::wstring& description, std::wstring* holder);
    void Release();
    bool Held() const;

    // Whether anybody holds the lock, and who.
    static bool HeldByAnyone(std::wstring* holder);
    // How many objects of this process hold it: 0 or 1.
    static long HeldHere();
    // How many objects of this process went with it, so far.
    static long Forgotten();

  private:
    bool TryOwn(const std::wstring& description);

    HANDLE token_ = INVALID_HANDLE_VALUE;
};
