// Where the machine is kept: registry paths, value names and ids, each once.
#pragma once

#define NET_CLASS L"{4D36E972-E325-11CE-BFC1-08002BE10318}"
#define SERVICES  L"System\\CurrentControlSet\\Services"
#define BENCH     L"Software\\QvBench"

namespace qvmachine::layout {

constexpr wchar_t kBench[] = BENCH;
constexpr wchar_t kMachine[] = BENCH L"\\Machine";
constexpr wchar_t kAdapters[] = BENCH L"\\Adapters";
constexpr wchar_t kSection[] = L"Section"; // an adapter's name in the machine file
constexpr wchar_t kDevices[] = BENCH L"\\Devices";
constexpr wchar_t kPresent[] = L"Present"; // of a device: 0 for a phantom, else missing
// Each value's name is the path of a volatile key that a program has made.
constexpr wchar_t kVolatile[] = BENCH L"\\Volatile";
constexpr wchar_t kConfigurationLock[] = BENCH L"\\NetCfgLock";

constexpr wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum";
constexpr wchar_t kClasses[] = L"System\\CurrentControlSet\\Control\\Class";
constexpr wchar_t kClass[] = L"System\\CurrentControlSet\\Control\\Class\\" NET_CLASS;
constexpr wchar_t kNetwork[] = L"System\\CurrentControlSet\\Control\\Network";
constexpr wchar_t kNetworkClass[] = L"System\\CurrentControlSet\\Control\\Network\\" NET_CLASS;
constexpr wchar_t kServices[] = SERVICES;
constexpr wchar_t kProtocol[] = SERVICES L"\\qvteamp";
constexpr wchar_t kMemberRecords[] = SERVICES L"\\qvteamp\\Parameters\\Adapters";
constexpr wchar_t kInterfaces[] = SERVICES L"\\Tcpip\\Parameters\\Interfaces";

constexpr wchar_t kMiniportService[] = L"qvteammp";
constexpr wchar_t kMiniportHardwareId[] = L"QV_QVTEAMMP";
constexpr wchar_t kMiniportDescription[] = L"Quovane Team Virtual Adapter";
constexpr wchar_t kMiniportDriver[] = L"qvteammp.sys";
constexpr wchar_t kProtocolComponent[] = L"qv_qvteamp";
constexpr wchar_t kProvider[] = L"Quovane Communications Inc.,";

// Keys that the machine file asked for and that were not there before, remembered for the reset.
constexpr wchar_t kExtraKeys[] = L"ExtraKeys";

} // namespace qvmachine::layout
