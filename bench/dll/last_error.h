// The last error of the thread belongs to the program: what the bench does on its own account must
// not show in it, and what it refuses must.
#ifndef QV_BENCH_DLL_LAST_ERROR_H
#define QV_BENCH_DLL_LAST_ERROR_H

#include <windows.h>

namespace bench {

class KeepLastError {
  public:
    KeepLastError() : error_(GetLastError()) {
    }
    ~KeepLastError() {
        SetLastError(error_);
    }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

  private:
    DWORD error_;
};

// Always false.
inline bool Refuse(DWORD error) {
    SetLastError(error);
    return false;
}

} // namespace bench

#endif
