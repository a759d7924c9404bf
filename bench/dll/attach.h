// Patching of a module's import table.
#ifndef QV_BENCH_DLL_ATTACH_H
#define QV_BENCH_DLL_ATTACH_H

#include <string>

namespace bench {

// The imports by name of the attached modules that no wrapper is known for, a line each.
std::wstring UnwrappedImports();

} // namespace bench

#endif
