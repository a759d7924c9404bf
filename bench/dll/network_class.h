// What the network class installer and the adapters' miniports do on Windows and nobody does here:
// an installed adapter gets its identity, a started virtual adapter publishes its address.
#ifndef QV_BENCH_DLL_NETWORK_CLASS_H
#define QV_BENCH_DLL_NETWORK_CLASS_H

#include <windows.h>
#include <setupapi.h>
#include <string>

namespace bench {

// Installs the driver that is selected for the device: Wine's own installation, then for network
// adapters what it leaves out. `route` is for the journal. Sets the last error when it fails:
// ERROR_ACCESS_DENIED, ERROR_DEVINFO_NOT_REGISTERED, ERROR_NO_DRIVER_SELECTED or Wine's own.
//
// Where the machine's installations need the configuration's write lock and somebody has it, an
// adapter's fails at once with NETCFG_E_NO_WRITE_LOCK. All of it is unverified: that the class
// installer takes the lock, that it does not wait, that this process is no exception, and the error.
bool InstallDriver(HDEVINFO set, PSP_DEVINFO_DATA device, const wchar_t* route);

// The adapter's miniport starts (unless the device is not present), stops, or is gone with its device, whose driver key is given
// because the device can no longer tell. Devices that are no adapters are left alone.
void StartAdapter(const std::wstring& instanceId);
void StopAdapter(const std::wstring& instanceId);
void ForgetAdapter(const std::wstring& instanceId, const std::wstring& driverKey);

// Installs the null driver: the device loses its driver key and its service, and counts as one whose
// installation has failed.
void InstallNullDriver(const std::wstring& instanceId);

// When the next address is due on the bench clock; false when none is.
bool NextPublication(UINT64* when);
void PublishDueAddresses();

// The INF's "DriverVer = month/day/year,version"; all empty when it has none.
struct DriverVersion {
    std::wstring date;    // as the driver key has it: "3-14-2009"
    std::wstring version; // "1.0.0.0"
    ULONGLONG rank;       // grows with the date
};
DriverVersion ReadDriverVersion(HINF inf);

} // namespace bench

#endif
