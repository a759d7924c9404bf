// The volatile keys that the program has created, as a list for the machine's restart: each path below
// HKEY_LOCAL_MACHINE is the name of a value of HKLM\Software\QvBench\Volatile. The restart deletes these
// keys with everything below them.
#ifndef QV_BENCH_DLL_VOLATILE_KEYS_H
#define QV_BENCH_DLL_VOLATILE_KEYS_H

#include <windows.h>
#include <string>

namespace bench {

// The path below HKEY_LOCAL_MACHINE that an open key has; "" for a key of another tree.
std::wstring MachinePath(HKEY key);

// How many leading components of `subKey` exist below `key`.
size_t ExistingComponents(HKEY key, LPCWSTR subKey);

// Takes down that a call has created `created` as the last component of `subKey`, of which `existed`
// leading components were there before.
void RememberCreation(HKEY created, LPCWSTR subKey, size_t existed, bool isVolatile);

// A key of this path, as MachinePath gives it, is deleted.
void ForgetVolatile(const std::wstring& path);

} // namespace bench

#endif
