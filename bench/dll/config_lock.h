// Whether the installation of a network adapter has to wait for the network configuration. The lock
// is that of qvnetcfg.dll, which may be in this process, in another one or in none.
#ifndef QV_BENCH_DLL_CONFIG_LOCK_H
#define QV_BENCH_DLL_CONFIG_LOCK_H

namespace bench {

// True when installing an adapter needs the write lock on this machine (install-needs-lock) and
// somebody holds it: another program, the machine's imaginary client, or this process itself.
bool AdapterInstallationLocked();

} // namespace bench

#endif
