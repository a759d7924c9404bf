// The call that reaches an adapter's driver. What the driver answers is real: bench/driver.
#include "standins.h"

#include "journal.h"
#include "last_error.h"

namespace standin {

using namespace bench;

// "DeviceIoControl function": without an OVERLAPPED structure lpBytesReturned cannot be NULL; the call
// uses it even when there is no output. Windows 7 and earlier write through the null pointer, so the
// program ends; later versions accept it (both unverified). Wine accepts it too. The bench refuses, with
// the error of an invalid address, so that a test sees the fault and goes on.
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped) {
    if (!returned && !overlapped) {
        Journal(L"misuse", L"DeviceIoControl: neither lpBytesReturned nor lpOverlapped");
        return Refuse(ERROR_NOACCESS);
    }
    return ::DeviceIoControl(device, code, in, inSize, out, outSize, returned, overlapped);
}

} // namespace standin
