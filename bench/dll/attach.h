// Patching of a module's import table.
#ifndef QV_BENCH_DLL_ATTACH_H
#define QV_BENCH_DLL_ATTACH_H

#include <string>

namespace bench {

// The imports of the attached modules that no wrapper is known for, a line each, without those from
// the C run-time library.
std::wstring UnwrappedImports();

// Whether the manifest of an attached module has this text, a GUID of its list of supported systems.
bool ManifestNames(const char* guid);

} // namespace bench

#endif
