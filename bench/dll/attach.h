// Patching of a module's import table.
#ifndef QV_BENCH_DLL_ATTACH_H
#define QV_BENCH_DLL_ATTACH_H

#include <string>

namespace bench {

// The imports of the attached modules that no wrapper is known for, a line each, without those from
// the C run-time library.
std::wstring UnwrappedImports();

} // namespace bench

#endif
